// SPDX-License-Identifier: Apache-2.0
#include "bench/blur_jobs.h"

#include <benchmark/benchmark.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>

#include <cstring>

#include "blur/background_blur.h"
#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#ifdef PEXO_BENCH_OPENCV
#include "bench/bench_blur_opencv.h"
#define PEXO_WITH_OPENCV(...) __VA_ARGS__
#else
#define PEXO_WITH_OPENCV(...) nullptr
#endif

namespace pexo::bench {
namespace {

using test::TestImage;

const std::vector<Size> kAllSizes = {{1920, 1080}, {1280, 720}, {1284, 720}};
constexpr Size kFullHd{1920, 1080}, kHd{1280, 720};
const std::vector<Size> kAlignedSizes = {kFullHd, kHd};
const std::vector<Size> kUnalignedSize = {{1284, 720}};

void Copy(Data& d, int bytes) {
  std::memcpy(d.out(), d.luma(), static_cast<size_t>(bytes));
}

void CopyFrame(Data& d) {
  Copy(d, d.pixels());
  std::memcpy(d.out_chroma(), d.chroma(), static_cast<size_t>(d.pixels() / 2));
}

// As many bytes read and written as a composite must: the frame to the output, and the full-size mask and blurred
// plane, which are read only, as one plane read and one written.
void CopyComposite(Data& d) {
  CopyFrame(d);
  std::memcpy(d.blurred.plane[0], d.mask.plane[0], static_cast<size_t>(d.pixels()));
}

void Shrink(Data& d, int factor) {
  libyuv::ScalePlane(d.luma(), d.size.width, d.size.width, d.size.height, d.out(), d.size.width / factor,
                     d.size.width / factor, d.size.height / factor, libyuv::kFilterBox);
}

#ifdef PEXO_BENCH_OPENCV
Run OpenCvComposite(TestImage Data::*mask) {
  return [=](Data& d) {
    const bool aligned = d.size.width % 8 == 0 && d.size.height % 8 == 0;
    (aligned ? opencv::ComposeAligned : opencv::ComposeUnaligned)(d.frame, d.output, d.*mask);
  };
}
#endif

Job Composite(const char* name, TestImage Data::*mask, const std::vector<Size>& sizes, double opencv_bar,
              double memcpy_bar) {
  Job job;
  job.name = name;
  job.ours = [=](Data& d) { ComposeBackgroundBlur(d.frame, d.output, d.*mask, 1.5f); };
  job.opencv = PEXO_WITH_OPENCV(OpenCvComposite(mask));
  job.memcpy = CopyComposite;
  job.sizes = sizes;
  job.opencv_bar.limit = opencv_bar;
  job.composite = true;
  job.memcpy_bar = memcpy_bar;
  return job;
}

// The image library's own enlarging, from the beginning of a mask.
Job Resize(const char* name, Size from) {
  Job job;
  job.name = name;
  job.ours = [=](Data& d) {
    const QmxImage source{QMX_FORMAT_GRAY8, from.width, from.height, {d.mask.plane[0]}, {from.width}};
    QmxImage scaled{QMX_FORMAT_GRAY8, d.size.width, d.size.height, {d.out()}, {d.size.width}};
    qmxResize(&source, &scaled, QMX_INTERPOLATION_BILINEAR);
  };
  job.opencv = PEXO_WITH_OPENCV(
      [=](Data& d) { opencv::Resize(d.mask.plane[0], from.width, from.height, d.out(), d.size.width, d.size.height); });
  job.libyuv = [=](Data& d) {
    libyuv::ScalePlane(d.mask.plane[0], from.width, from.width, from.height, d.out(), d.size.width, d.size.width,
                       d.size.height, libyuv::kFilterBilinear);
  };
  job.memcpy = [](Data& d) { Copy(d, d.pixels() / 2); };
  job.sizes = {kFullHd};
  job.opencv_bar.limit = job.libyuv_bar.limit = 0.4;
  return job;
}

}  // namespace

std::vector<Job> Jobs() {
  return {
      {"box radius 1",
       [](Data& d) { BoxFilter(d.luma(), d.size.width, d.size.height, d.size.width, d.out(), d.size.width, 1); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Box(d.luma(), d.size.width, d.size.height, d.out(), 1); }),
       nullptr,
       [](Data& d) { Copy(d, d.pixels()); },
       kAllSizes,
       {0.25, kFullHd}},
      {"box radius 2",
       [](Data& d) { BoxFilter(d.luma(), d.size.width, d.size.height, d.size.width, d.out(), d.size.width, 2); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Box(d.luma(), d.size.width, d.size.height, d.out(), 2); }), nullptr,
       [](Data& d) { Copy(d, d.pixels()); }, kAllSizes},
      {"down 2x",
       [](Data& d) { Downsample2x(d.out(), d.luma(), d.size.width, d.size.height, d.size.width, d.size.width / 2); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Shrink(d.luma(), d.size.width, d.size.height, d.out(), 2); }),
       [](Data& d) { Shrink(d, 2); },
       [](Data& d) { Copy(d, d.pixels() * 5 / 8); },
       kAllSizes,
       {},
       {1.5, kFullHd}},
      {"down 4x",
       [](Data& d) { Downsample4x(d.out(), d.luma(), d.size.width, d.size.height, d.size.width, d.size.width / 4); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Shrink(d.luma(), d.size.width, d.size.height, d.out(), 4); }),
       [](Data& d) { Shrink(d, 4); },
       [](Data& d) { Copy(d, d.pixels() * 17 / 32); },
       kAllSizes,
       {0.2, kFullHd},
       {1.5, kFullHd}},
      {"up 2x",
       [](Data& d) {
         Upsample2x(d.out(), d.half.plane[0], d.size.width / 2, d.size.height / 2, d.size.width / 2, d.size.width, 1);
       },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::Resize(d.half.plane[0], d.size.width / 2, d.size.height / 2, d.out(), d.size.width, d.size.height);
       }),
       [](Data& d) {
         libyuv::ScalePlane(d.half.plane[0], d.size.width / 2, d.size.width / 2, d.size.height / 2, d.out(),
                            d.size.width, d.size.width, d.size.height, libyuv::kFilterBilinear);
       },
       [](Data& d) { Copy(d, d.pixels() * 5 / 8); },
       kAllSizes,
       {0.4, kFullHd},
       {1.5, kFullHd}},
      {"luma blend",
       [](Data& d) { Kernels().blend(d.out(), d.blurred.plane[0], d.luma(), d.mask.plane[0], d.pixels()); },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::Blend(d.blurred.plane[0], d.luma(), d.mask.plane[0], d.size.width, d.size.height, d.out());
       }),
       [](Data& d) {
         const int width = d.size.width;
         libyuv::BlendPlane(d.luma(), width, d.blurred.plane[0], width, d.mask.plane[0], width, d.out(), width, width,
                            d.size.height);
       },
       [](Data& d) { Copy(d, d.pixels()); },
       kAllSizes,
       {},
       {1.5, kFullHd}},
      {"split pairs",
       [](Data& d) {
         SplitChromaPairs(d.out(), d.out() + d.pixels() / 4, d.chroma(), d.size.width / 2, d.size.height / 2,
                          d.size.width);
       },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::SplitPairs(d.chroma(), d.size.width / 2, d.size.height / 2, d.out(), d.out() + d.pixels() / 4);
       }),
       [](Data& d) {
         const int pairs = d.size.width / 2;
         libyuv::SplitUVPlane(d.chroma(), d.size.width, d.out() + d.pixels() / 4, pairs, d.out(), pairs, pairs,
                              d.size.height / 2);
       },
       [](Data& d) { Copy(d, d.pixels() / 2); }, kAllSizes},
      {"merge pairs",
       [](Data& d) { Kernels().merge_pairs(d.out_chroma(), d.luma(), d.luma() + d.pixels() / 4, d.pixels() / 4); },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::MergePairs(d.luma(), d.luma() + d.pixels() / 4, d.size.width / 2, d.size.height / 2, d.out_chroma());
       }),
       [](Data& d) {
         const int pairs = d.size.width / 2;
         libyuv::MergeUVPlane(d.luma() + d.pixels() / 4, pairs, d.luma(), pairs, d.out_chroma(), d.size.width, pairs,
                              d.size.height / 2);
       },
       [](Data& d) { Copy(d, d.pixels() / 2); }, kAllSizes},
      {"chroma towards grey",
       [](Data& d) { Kernels().blend_towards_grey(d.out_chroma(), d.mask.plane[0], d.pixels() / 2); }, nullptr, nullptr,
       [](Data& d) { Copy(d, d.pixels() * 3 / 4); }, kAllSizes},
      {"soft scores",
       [](Data& d) { Kernels().decode_soft_scores(d.luma(), d.pixels() / 2, d.out(), -4, 43); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels() * 3 / 4); },
       {kFullHd}},
      {"hard scores",
       [](Data& d) { Kernels().compare_scores(d.luma(), d.mask.plane[0], d.pixels(), d.out()); },
       nullptr,
       nullptr,
       CopyFrame,
       {kFullHd}},
      {"foreground count",
       [](Data& d) { benchmark::DoNotOptimize(Kernels().count_foreground(d.mask.plane[0], d.pixels())); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels() / 2); },
       {kFullHd}},
      {"contrast table",
       [](Data& d) { Kernels().apply_table(d.out(), d.pixels(), d.chroma()); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels()); },
       {kFullHd}},
      Resize("resize from 480x270", {480, 270}),
      Resize("resize from 128x128", {128, 128}),
      Composite("compose aligned, mask 128x128", &Data::small_mask, {kFullHd}, 0.2, 3),
      Composite("compose aligned, mask 128x128", &Data::small_mask, {kHd}, 0.16, 3),
      Composite("compose aligned, full-size mask", &Data::mask, kAlignedSizes, 0.35, 3),
      Composite("compose unaligned, mask 128x128", &Data::small_mask, kUnalignedSize, 0.5, 0),
      Composite("compose unaligned, full-size mask", &Data::mask, kUnalignedSize, 0.5, 0),
  };
}

}  // namespace pexo::bench
