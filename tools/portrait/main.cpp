// portrait: a portrait effect for a picture file.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

extern "C" {
#include <libavutil/log.h>
}

#include <pexo/humanbodyseg.h>

#include "common/failure.h"
#include "common/program.h"
#include "film_effect.h"
#include "film_job.h"
#include "frame_conversion.h"
#include "library_log.h"
#include "model_file.h"
#include "options.h"
#include "picture_reader.h"
#include "picture_writer.h"
#include "renderer.h"

namespace pexo::portrait {
namespace {

void RenderPicture(const Options& options) {
  const media::AvFrame picture = ReadPicture(options.input);
  EffectSettings settings = options.effect;
  settings.rotation = static_cast<uint32_t>(options.rotation.value_or(0));
  Renderer renderer(settings, FindModel(options.model));
  CameraFrame rendered = [&] {
    try {
      return renderer.Render(FrameFromPicture(*picture, renderer.ColumnMultiple()));
    } catch (const tools::Failure& failure) {
      throw tools::Failure(options.input + ": " + failure.what());
    }
  }();
  WritePicture(rendered, options.output);
  if (!options.quiet) {
    std::printf("%s: %dx%d\n", options.output.c_str(), rendered.picture_width(), rendered.picture_height());
  }
}

// A film that is written while it is read would lose its end.
void RefuseSameFile(const std::string& input, const std::string& output) {
  std::error_code ignored;
  if (std::filesystem::equivalent(input, output, ignored)) {
    throw tools::UsageError(output + ": a film cannot be written over what is read");
  }
}

void RenderFilmFile(const Options& options) {
  RefuseSameFile(options.input, options.output);
  FilmJob job;
  job.source = {options.input, options.input == "-" && options.output != "-" ? options.format : "", options.from,
                options.to};
  job.target = {options.output, options.input != "-" || options.output == "-" ? options.format : "", options.codec,
                options.quality};
  job.size = options.size;
  job.rotation = options.rotation;
  job.is_quiet = options.quiet;
  job.shows_statistics = options.statistics;
  job.make_renderer = [&options](media::Size, int rotation, FilmStatistics& statistics) {
    EffectSettings settings = options.effect;
    settings.rotation = static_cast<uint32_t>(rotation);
    return std::make_unique<FilmEffect>(settings, FindModel(options.model), statistics.effect);
  };
  RenderFilm(job);
}

void Run(int argc, char** argv) {
  const Options options = ParseOptions(argc, argv);
  switch (options.action) {
    case Action::kHelp:
      std::fputs(HelpText(), stdout);
      break;
    case Action::kVersion:
      std::puts(pexoHumanBodySegGetVersion()->version_string);
      break;
    case Action::kRender:
      SetLibraryLogPrinted(options.verbose);
      if (PictureKindOf(options.output)) {
        RenderPicture(options);
      } else {
        if (IsPicture(options.input)) {
          throw tools::UsageError(options.output + ": a picture's name must end in .png, .jpg or .jpeg");
        }
        RenderFilmFile(options);
      }
      break;
  }
}

}  // namespace
}  // namespace pexo::portrait

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);
  return pexo::tools::RunProgram("portrait", [&] { pexo::portrait::Run(argc, argv); });
}
