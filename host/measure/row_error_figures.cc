// The figures of a row-error measurement and its verdict line.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "host/measure/row_error.h"

namespace deflash_host {
namespace {

/// Characters of each region's column in the text grid.
constexpr std::size_t kRegionColumnWidth = 8;

/// Pixels with two decimals: the limits in use are tenths of a pixel.
std::string pixels(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

}  // namespace

double reported_pixels(double value) { return std::round(value * 1e4) / 1e4; }

std::string region_mean_text(const region_mean& region) {
  if (region.matches == 0) return "none";
  double value = std::round(region.mean_dy * 100.0) / 100.0;
  if (value == 0.0) value = 0.0;  // no "-0.00"
  char text[32];
  std::snprintf(text, sizeof text, "%+.2f", value);
  return text;
}

row_error_figures summarize_row_error(const std::vector<row_match>& matches, int width,
                                      int height) {
  row_error_figures figures;
  figures.matches = matches.size();
  if (matches.empty()) return figures;
  std::vector<double> sizes;
  sizes.reserve(matches.size());
  double sum = 0.0;
  double squares = 0.0;
  std::array<double, kRegionCount> region_sums{};
  for (const row_match& m : matches) {
    const double dy = m.dy;
    sizes.push_back(std::fabs(dy));
    sum += std::fabs(dy);
    squares += dy * dy;
    const int column = std::min(kRegionColumns - 1,
                                static_cast<int>(m.x * kRegionColumns / static_cast<float>(width)));
    const int row =
        std::min(kRegionRows - 1, static_cast<int>(m.y * kRegionRows / static_cast<float>(height)));
    const int region = std::max(0, row) * kRegionColumns + std::max(0, column);
    region_sums[region] += dy;
    ++figures.regions[region].matches;
  }
  const double count = static_cast<double>(matches.size());
  figures.mean = sum / count;
  figures.rms = std::sqrt(squares / count);
  std::sort(sizes.begin(), sizes.end());
  // Nearest rank: the smallest |dy| that at least 95 % of the matches reach.
  const std::size_t rank = static_cast<std::size_t>(std::ceil(0.95 * count));
  figures.p95 = sizes[std::max<std::size_t>(rank, 1) - 1];
  figures.max = sizes.back();
  for (std::size_t i = 0; i < region_sums.size(); ++i) {
    if (figures.regions[i].matches > 0) {
      figures.regions[i].mean_dy = region_sums[i] / static_cast<double>(figures.regions[i].matches);
    }
  }
  return figures;
}

std::vector<std::string> row_error_region_lines(const row_error_result& result) {
  if (!result.measured()) return {};
  std::vector<std::string> lines = {
      "mean dy by region, px (right row minus left row; + where the right picture is lower):"};
  for (int row = 0; row < kRegionRows; ++row) {
    std::string line = " ";
    for (int column = 0; column < kRegionColumns; ++column) {
      const std::string text =
          region_mean_text(result.figures.regions[row * kRegionColumns + column]);
      line += std::string(kRegionColumnWidth - text.size(), ' ') + text;
    }
    lines.push_back(line);
  }
  return lines;
}

std::string row_error_verdict_line(const row_error_result& result) {
  if (!result.measured()) return result.message;
  const row_error_figures& f = result.figures;
  return "row error: " + std::to_string(f.matches) + " matches, mean " + pixels(f.mean) +
         " px, p95 " + pixels(f.p95) + " px, max " + pixels(f.max) +
         " px: " + (result.passed() ? "PASS" : "FAIL") + " (limit " + pixels(result.threshold) +
         " px)";
}

}  // namespace deflash_host
