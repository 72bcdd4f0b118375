// Rebuilds tests/data/de_config_example.bin from examples/module; run through
// tests/data/regenerate_de_config_golden.sh after a reviewed format change.
#include <cstdio>
#include <vector>

#include "de_config/de_image_build.h"
#include "de_config/example_inputs.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s <examples/module directory> <output image>\n", argv[0]);
    return 2;
  }
  const deflash_test::example_inputs inputs(argv[1]);
  // Every example file carries a version, so the time stamp never shows.
  constexpr uint32_t kUnusedTime = 0;
  const deflash::de_image_outcome outcome =
      deflash::build_de_config_image(inputs.files(), kUnusedTime);
  if (!outcome.converted) return 1;
  std::FILE* file = std::fopen(argv[2], "wb");
  if (file == nullptr) {
    std::fprintf(stderr, "cannot write %s\n", argv[2]);
    return 1;
  }
  const bool written =
      std::fwrite(outcome.image.data(), 1, outcome.image.size(), file) == outcome.image.size();
  return (std::fclose(file) == 0 && written) ? 0 : 1;
}
