// SPDX-License-Identifier: Apache-2.0
// portrait: pictures, films and cameras with another background.
#include <cstdio>
#include <string_view>

extern "C" {
#include <libavutil/log.h>
}

#include <pexo/humanbodyseg.h>

#include "common/program.h"
#include "film_command.h"
#include "library_log.h"
#include "live/live_command.h"
#include "options.h"
#include "picture_job.h"
#include "picture_reader.h"
#include "picture_writer.h"

namespace pexo::portrait {
namespace {

void Run(int argc, char** argv) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  if (command == "live") return live::LiveCommand(argc - 1, argv + 1);
  if (command == "set") return live::SetCommand(argc - 1, argv + 1);
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
      if (PictureKindOf(options.output) || IsPicture(options.input)) {
        RenderPicture(options);
      } else {
        RenderFilm(options);
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
