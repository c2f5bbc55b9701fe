// The background blur as a list of whole-plane steps, to hold the composites against.
#ifndef PEXO_TESTS_BLUR_NAIVE_BLUR_H_
#define PEXO_TESTS_BLUR_NAIVE_BLUR_H_

#include <qmx/qmx_image.h>

namespace pexo::testing {

void NaiveBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float strength);

}  // namespace pexo::testing

#endif  // PEXO_TESTS_BLUR_NAIVE_BLUR_H_
