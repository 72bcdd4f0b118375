// Compile-time checking of printf-style formats, on every compiler we build with.
#ifndef DEFLASH_FRAME_PRINTF_CHECK_H_
#define DEFLASH_FRAME_PRINTF_CHECK_H_

// DEFLASH_PRINTF_CHECK(format_index, first_argument_index): the arguments are
// checked against the format as C99 printf reads it. MinGW builds print with
// the C99 implementation (__USE_MINGW_ANSI_STDIO), whose archetype there is
// gnu_printf; plain printf would mean the Microsoft runtime's rules and reject
// %zu. MSVC has no such attribute.
#if defined(__MINGW32__)
#define DEFLASH_PRINTF_CHECK(format_index, first_argument_index) \
  __attribute__((format(gnu_printf, format_index, first_argument_index)))
#elif defined(__GNUC__)
#define DEFLASH_PRINTF_CHECK(format_index, first_argument_index) \
  __attribute__((format(printf, format_index, first_argument_index)))
#else
#define DEFLASH_PRINTF_CHECK(format_index, first_argument_index)
#endif

#endif  // DEFLASH_FRAME_PRINTF_CHECK_H_
