// SPDX-License-Identifier: Apache-2.0
#include "film_command.h"

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <malloc.h>

#include "common/failure.h"
#include "film_background.h"
#include "film_effect.h"
#include "film_job.h"
#include "settings.h"

namespace pexo::portrait {
namespace {

// A film that is written while it is read would lose its end.
void RefuseSameFiles(const Options& options) {
  const auto* background = std::get_if<BackgroundFile>(&options.background);
  const auto refuse = [](const std::string& read, const std::string& written) {
    std::error_code ignored;
    if (!std::filesystem::equivalent(read, written, ignored)) return;
    throw tools::UsageError(written + ": a film cannot be written over what it is made from");
  };
  for (const std::string& written : {options.output, options.mask_output}) {
    refuse(options.input, written);
    if (background != nullptr) refuse(background->path, written);
  }
  if (options.output != "-" &&
      std::filesystem::weakly_canonical(options.output) == std::filesystem::weakly_canonical(options.mask_output)) {
    throw tools::UsageError(options.mask_output + ": the mask needs a file of its own");
  }
}

// Frames come and go all the time. What they free would go back to the system, which would have to clear it again.
void KeepFreedMemory() {
  constexpr int kMax = 256 << 20;
  ::mallopt(M_TRIM_THRESHOLD, kMax);
  ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
}

}  // namespace

void RenderFilm(const Options& options) {
  RefuseSameFiles(options);
  KeepFreedMemory();
  const bool reads_pipe = options.input == "-";
  const bool writes_pipe = options.output == "-";
  FilmJob job;
  // One name for two pipes is the output's: what comes in tells its format by itself.
  job.source = {options.input, reads_pipe && !writes_pipe ? options.format : "", options.from, options.to};
  job.target = {options.output, reads_pipe && !writes_pipe ? "" : options.format, options.codec, options.quality,
                !options.effect && std::holds_alternative<compositor::Transparent>(options.background)};
  const bool has_mask = !options.mask_output.empty();
  if (has_mask) {
    job.mask_target = job.target;
    job.mask_target->path = options.mask_output;
    job.mask_target->format.clear();
    // What fits the film's container need not fit another.
    const auto ending = [](const std::string& path) { return std::filesystem::path(path).extension(); };
    const bool has_alpha = std::exchange(job.mask_target->has_alpha, false);
    if (has_alpha || ending(options.output) != ending(options.mask_output)) job.mask_target->codec.clear();
  }
  job.size = options.size;
  job.rotation = options.rotation;
  job.is_quiet = options.quiet;
  job.shows_statistics = options.statistics;
  job.make_renderer = [&](media::Size size, int rotation, FilmStatistics& statistics) -> std::unique_ptr<FilmRenderer> {
    if (options.effect) {
      return std::make_unique<FilmEffect>(EffectSettingsOf(options, rotation), EffectModelOf(options, size, rotation),
                                          statistics.effect);
    }
    return std::make_unique<FilmBackground>(CompositorOptionsOf(options, size, rotation, 1), options.background,
                                            has_mask, statistics);
  };
  RunFilmJob(job);
}

}  // namespace pexo::portrait
