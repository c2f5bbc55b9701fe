// portrait: a portrait effect for a picture file.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

extern "C" {
#include <libavutil/log.h>
}

#include <pexo/humanbodyseg.h>

#include "failure.h"
#include "frame_conversion.h"
#include "options.h"
#include "picture_reader.h"
#include "picture_writer.h"
#include "renderer.h"

namespace pexo::portrait {
namespace {

void RenderPicture(const Options& options) {
  const AvFrame picture = ReadPicture(options.input);
  Renderer renderer(options);
  CameraFrame rendered = [&] {
    try {
      return renderer.Render(FrameFromPicture(*picture, Renderer::ColumnMultiple(options.effect)));
    } catch (const Failure& failure) {
      throw Failure(options.input + ": " + failure.what());
    }
  }();
  WritePicture(rendered, options.output);
  if (!options.quiet) {
    std::printf("%s: %dx%d\n", options.output.c_str(), rendered.picture_width(), rendered.picture_height());
  }
}

int Run(int argc, char** argv) {
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
        throw UsageError(options.output + ": the output's name must end in .png, .jpg or .jpeg");
      }
      RenderPicture(options);
      break;
  }
  if (std::fflush(stdout) != 0) throw Failure("standard output cannot be written");
  return 0;
}

// One line whatever a file name holds.
int Complain(std::string message, int exit_status) {
  std::replace_if(
      message.begin(), message.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  std::fprintf(stderr, "portrait: %s\n", message.c_str());
  return exit_status;
}

}  // namespace
}  // namespace pexo::portrait

int main(int argc, char** argv) {
  using namespace pexo::portrait;
  av_log_set_level(AV_LOG_QUIET);
  try {
    return Run(argc, argv);
  } catch (const UsageError& error) {
    return Complain(error.what() + std::string("; see portrait --help"), 2);
  } catch (const std::bad_alloc&) {
    return Complain("out of memory", 1);
  } catch (const std::exception& error) {
    return Complain(error.what(), 1);
  }
}
