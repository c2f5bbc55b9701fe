pexo_bench(bench_blur SOURCES bench_blur.cpp LIBRARIES pexo_core_linked)
# The image library's calls, so that a composite's time splits into theirs and ours.
target_link_options(bench_blur PRIVATE LINKER:--wrap=qmxResize,--wrap=qmxImageCreate,--wrap=qmxImageFree)

find_path(LIBYUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(LIBYUV_LIBRARY yuv REQUIRED)
target_include_directories(bench_blur SYSTEM PRIVATE "${LIBYUV_INCLUDE_DIR}")
target_link_libraries(bench_blur PRIVATE "${LIBYUV_LIBRARY}")

# A peer to stand beside, if it is there (libopencv-imgproc-dev).
find_path(OPENCV_INCLUDE_DIR opencv2/imgproc.hpp PATH_SUFFIXES opencv4)
find_library(OPENCV_CORE_LIBRARY opencv_core)
find_library(OPENCV_IMGPROC_LIBRARY opencv_imgproc)
if(OPENCV_INCLUDE_DIR AND OPENCV_CORE_LIBRARY AND OPENCV_IMGPROC_LIBRARY)
  target_sources(bench_blur PRIVATE bench_blur_opencv.cpp)
  target_include_directories(bench_blur SYSTEM PRIVATE "${OPENCV_INCLUDE_DIR}")
  target_link_libraries(bench_blur PRIVATE "${OPENCV_IMGPROC_LIBRARY}" "${OPENCV_CORE_LIBRARY}")
  target_compile_definitions(bench_blur PRIVATE PEXO_BENCH_OPENCV)
endif()
