// Each filter once more, straight from its formula, on whole planes and without any care for speed.
#ifndef PEXO_TESTS_BLUR_NAIVE_FILTERS_H_
#define PEXO_TESTS_BLUR_NAIVE_FILTERS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pexo::testing {

// A tightly packed plane whose reads outside repeat the border.
struct NaivePlane {
  NaivePlane(int w, int h) : width(w), height(h), pixels(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  NaivePlane(const uint8_t* data, int w, int h, int step);

  uint8_t& At(int x, int y) {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  int Clamped(int x, int y) const;

  int width;
  int height;
  std::vector<uint8_t> pixels;
};

NaivePlane NaiveBox(const NaivePlane& source, int radius);
NaivePlane NaiveDownsample2(const NaivePlane& source);
NaivePlane NaiveDownsample4(const NaivePlane& source);
NaivePlane NaiveUpsample2(const NaivePlane& source);

}  // namespace pexo::testing

#endif  // PEXO_TESTS_BLUR_NAIVE_FILTERS_H_
