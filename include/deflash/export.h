// Export macro for the library's public surface; everything else stays hidden.
#ifndef DEFLASH_EXPORT_H_
#define DEFLASH_EXPORT_H_

#if defined(_WIN32)
#if defined(DEFLASH_BUILDING)
#define DEFLASH_EXPORT __declspec(dllexport)
#else
#define DEFLASH_EXPORT __declspec(dllimport)
#endif
#else
#define DEFLASH_EXPORT __attribute__((visibility("default")))
#endif

#endif  // DEFLASH_EXPORT_H_
