// Sees the calls of the image library's conversions: a program that links qmx_calls.cpp has them recorded on their way
// to the real library.
#ifndef PEXO_TESTS_SUPPORT_QMX_CALLS_H_
#define PEXO_TESTS_SUPPORT_QMX_CALLS_H_

#include <string>
#include <vector>

namespace pexo {

// What was called since the last TakeQmxCalls, in order: "qmxColorNV21toRGB888u8 8x8", or
// "qmxResize 640x480 8x8 <interpolation>". Of the calling thread's calls.
std::vector<std::string> TakeQmxCalls();

}  // namespace pexo

#endif  // PEXO_TESTS_SUPPORT_QMX_CALLS_H_
