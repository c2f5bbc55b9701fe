// portrait: a portrait effect for a picture file.
#include <cstdio>

extern "C" {
#include <libavutil/log.h>
}

#include <pexo/humanbodyseg.h>

#include "common/failure.h"
#include "common/program.h"
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
  const AvFrame picture = ReadPicture(options.input);
  Renderer renderer(options.effect, FindModel(options.model));
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
      if (!PictureKindOf(options.output)) {
        throw tools::UsageError(options.output + ": the output's name must end in .png, .jpg or .jpeg");
      }
      SetLibraryLogPrinted(options.verbose);
      RenderPicture(options);
      break;
  }
}

}  // namespace
}  // namespace pexo::portrait

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);
  return pexo::tools::RunProgram("portrait", [&] { pexo::portrait::Run(argc, argv); });
}
