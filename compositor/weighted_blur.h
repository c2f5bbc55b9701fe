// SPDX-License-Identifier: Apache-2.0
// A strong blur in which pixels count as much as the mask says, so that nothing of the person runs into the background
// or the other way round.
#ifndef PEXO_COMPOSITOR_WEIGHTED_BLUR_H_
#define PEXO_COMPOSITOR_WEIGHTED_BLUR_H_

#include <cstdint>

#include "enlarger.h"
#include "frame_rows.h"

namespace pexo::compositor {

// The frame's rows go in with their masks, then rows of the blurred picture come out. In between it is small: sums of
// weights and weighted pixels over blocks, smoothed by three box means, and divided.
class WeightedBlur {
 public:
  // Starts on a frame of width x height. `sigma`: of the Gaussian, in luma pixels. With Weighting::kSurelyBackground
  // the blocks on the rim of what counts are left out, for the result to be looked at; otherwise it is an estimate, and
  // the blocks may be larger.
  void Open(int width, int height, Weighting weighting, double sigma);

  // Adds luma rows 2 * pair and 2 * pair + 1 and chroma row `pair`, padded; pairs in order from 0.
  void AddRows(int pair, const uint8_t* const mask[2], const uint8_t* const luma[2], const ChromaRow& chroma);

  // Blurs, after the last rows.
  void Finish();

  // A row of the result, Q7, of Y (plane 0), U or V; holds until the next one of the same plane.
  LerpRow Row(int plane, int y) { return enlarged_[plane].Row(y); }

 private:
  static constexpr int kPasses = 3;

  // A box mean down the columns, row by row: row y comes out when row y + radius is in. Behind the last row there is
  // nothing.
  struct ColumnPass {
    int radius = 0;
    int count = 0;      // of rows that went in
    Plane<float> ring;  // the last ones of them
    Plane<float> sums;  // one row

    float* Place(int ahead) { return ring.Row((count + ahead) % ring.height()); }
  };

  bool IsEroded() const { return weighting_ == Weighting::kSurelyBackground; }
  void ChooseScale(double sigma);
  void Reduce(int small_row, int rows);
  void BlurRows(int first_row);
  void PushRow(int pass, bool is_outside);

  int width_ = 0, height_ = 0;
  double sigma_ = 0;
  Weighting weighting_ = Weighting::kSurelyBackground;
  int block_ = 2;                  // luma pixels a side, a power of two
  Plane<uint16_t> columns_;        // running sums of weight and luma
  Plane<int16_t> chroma_columns_;  // of U and V
  Plane<int32_t> scratch_;
  Plane<float> sums_[4];      // of a block: weight, luma, U, V
  Plane<float> row_scratch_;  // the four of each block side by side
  ColumnPass passes_[kPasses];
  Plane<float> zeros_;         // a row, and below it the place of the row that leaves the last pass
  Plane<int16_t> blurred_[3];  // Y, U, V in Q7
  Enlarger enlarged_[3];
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_WEIGHTED_BLUR_H_
