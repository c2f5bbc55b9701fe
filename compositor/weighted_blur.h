// A strong blur in which pixels count as much as the mask says, so that nothing of the person runs into the background
// or the other way round.
#ifndef PEXO_COMPOSITOR_WEIGHTED_BLUR_H_
#define PEXO_COMPOSITOR_WEIGHTED_BLUR_H_

#include <cstdint>
#include <vector>

#include "enlarger.h"
#include "frame_rows.h"

namespace pexo::compositor {

// The frame's rows go in with their masks, then rows of the blurred picture come out. In between it is small: sums of
// weights and weighted pixels over blocks, smoothed by three box means, and divided.
class WeightedBlur {
 public:
  // Starts on a frame of width x height. `sigma`: of the Gaussian, in luma pixels. `is_eroded`: blocks on the rim of
  // what counts are left out.
  void Open(int width, int height, Weighting weighting, double sigma, bool is_eroded);

  // Adds luma rows 2 * pair and 2 * pair + 1 and chroma row `pair`, padded; pairs in order from 0.
  void AddRows(int pair, const uint8_t* const mask[2], const uint8_t* const luma[2], const ChromaRow& chroma);

  // Blurs, after the last rows.
  void Finish();

  // A row of the result, Q7, of Y (plane 0), U or V; holds until the next one of the same plane.
  LerpRow Row(int plane, int y) { return enlarged_[plane].Row(y); }

 private:
  static constexpr int kPasses = 3;

  void ChooseScale(double sigma);
  void Reduce(int small_row, int rows);
  void EvenOutBorders();
  void BlurRows(int first_row);
  void BlurColumns();
  void Divide();

  int width_ = 0, height_ = 0;
  double sigma_ = 0;
  Weighting weighting_ = Weighting::kSurelyBackground;
  bool is_eroded_ = false;
  int block_ = 2;  // luma pixels a side, a power of two
  int radius_[kPasses] = {};
  Plane<uint16_t> columns_;        // running sums of weight and luma
  Plane<int16_t> chroma_columns_;  // of U and V
  Plane<int32_t> scratch_;
  Plane<float> sums_[4];    // of a block: weight, luma, U, V
  Plane<float> pixels_[2];  // the four of each block side by side
  Plane<float> row_scratch_;
  std::vector<float> column_sums_;
  Plane<int16_t> blurred_[3];  // Y, U, V in Q7
  Enlarger enlarged_[3];
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_WEIGHTED_BLUR_H_
