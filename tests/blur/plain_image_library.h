// What the tests can ask of the image library that stands in for the real one.
#ifndef PEXO_TESTS_BLUR_PLAIN_IMAGE_LIBRARY_H_
#define PEXO_TESTS_BLUR_PLAIN_IMAGE_LIBRARY_H_

namespace pexo::testing {

struct ImageLibraryState {
  int resizes = 0;
  int rejected = 0;  // calls with formats or an interpolation that the composite must not use
  bool fail_resizes = false;
};

ImageLibraryState& image_library();

}  // namespace pexo::testing

#endif  // PEXO_TESTS_BLUR_PLAIN_IMAGE_LIBRARY_H_
