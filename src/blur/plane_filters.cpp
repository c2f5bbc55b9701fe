#include "blur/plane_filters.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "blur/box_sums.h"
#include "kernels/kernel_table.h"

namespace pexo {
namespace {

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

int BoxFilter(const uint8_t* source, int width, int height, int source_step, uint8_t* destination, int destination_step,
              int radius) {
  BoxFilterRows(source, width, height, source_step, destination, destination_step, radius, 0, height);
  return 0;
}

void BoxFilterRows(const uint8_t* source, int width, int height, int source_step, uint8_t* destination,
                   int destination_step, int radius, int first, int end) {
  first = std::max(first, 0);
  end = std::min(end, height);
  if (width < 1 || first >= end) {
    return;
  }
  const auto source_row = [=](int y) { return source + static_cast<ptrdiff_t>(y) * source_step; };
  const auto destination_row = [=](int y) { return destination + static_cast<ptrdiff_t>(y) * destination_step; };
  if (radius < 1) {
    for (int y = first; y < end; ++y) {
      std::memcpy(destination_row(y), source_row(y), static_cast<size_t>(width));
    }
    return;
  }
  const std::unique_ptr<void, FreeMemory> work(std::malloc(BoxSums::WorkBytes(width, radius)));
  if (work == nullptr) {
    return;
  }
  BoxSums sums(work.get(), width, height, radius);
  sums.Start(first, source_row);
  sums.Emit(destination_row(first));
  for (int y = first + 1; y < end; ++y) {
    sums.Advance(source_row);
    sums.Emit(destination_row(y));
  }
}

void SplitChromaPairs(uint8_t* first, uint8_t* second, const uint8_t* source, int pairs, int rows, int source_step) {
  for (int y = 0; y < rows; ++y) {
    Kernels().split_pairs(first, second, source, pairs);
    first += pairs;
    second += pairs;
    source += source_step;
  }
}

void Downsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step) {
  for (int y = 0; y < height / 2; ++y) {
    Kernels().downsample2(destination, source, source + source_step, width / 2);
    destination += destination_step;
    source += 2 * static_cast<ptrdiff_t>(source_step);
  }
}

void Downsample4x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step) {
  for (int y = 0; y < height / 4; ++y) {
    Kernels().downsample4(destination, source, source_step, width / 4);
    destination += destination_step;
    source += 4 * static_cast<ptrdiff_t>(source_step);
  }
}

void Upsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                int destination_step, int bottom_row_flag) {
  for (int y = 0; y < height; ++y) {
    const bool has_row_below = y + 1 < height || bottom_row_flag == 0;
    Kernels().upsample2(destination, destination + destination_step, source,
                        has_row_below ? source + source_step : source, width);
    destination += 2 * static_cast<ptrdiff_t>(destination_step);
    source += source_step;
  }
}

}  // namespace pexo
