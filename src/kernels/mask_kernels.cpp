#include "kernels/mask_kernels.h"

#include <cstring>

#include "kernels/kernel_table.h"

namespace pexo {

void BlendChromaTowardsGrey(uint8_t* chroma, const uint8_t* mask, int width) {
  Kernels().blend_towards_grey(chroma, mask, width);
}

void DecodeSoftScores(const uint8_t* scores, int count, uint8_t* mask, int lo, int hi) {
  Kernels().decode_soft_scores(scores, count, mask, lo, hi);
}

void CompareScores(const uint8_t* foreground, const uint8_t* background, int count, uint8_t* mask) {
  Kernels().compare_scores(foreground, background, count, mask);
}

void ShiftUpLeft(uint8_t* plane, int width, int height) {
  if (width < 2) {
    return;
  }
  const auto step = static_cast<size_t>(width);
  for (int row = 0; row < height - 1; ++row, plane += step) {
    std::memcpy(plane, plane + step + 1, step - 1);
  }
}

int CountForeground(const uint8_t* mask, int count) {
  return Kernels().count_foreground(mask, count);
}

void ApplyTable(uint8_t* pixels, int count, const uint8_t* table) {
  Kernels().apply_table(pixels, count, table);
}

}  // namespace pexo
