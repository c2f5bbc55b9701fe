// SPDX-License-Identifier: Apache-2.0
#include <pexo/humanbodyseg.h>
#include <qmx/qmx_image.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <tuple>
#include <utility>

#include "tests/support/handle.h"
#include "tests/tools/films.h"
#include "tools/media/film_reader.h"
#include "tools/portrait/progress.h"

namespace pexo::test {
namespace {

using PortraitFilms = Workplace;

// The photograph before a pattern, 5 seconds with a tone.
void MakeTalk(const std::string& name, const std::string& words = "", const std::string& filter = "null") {
  Ffmpeg("-f lavfi -i testsrc2=s=160x120:r=30:d=5 -loop 1 -i '" PEXO_PHOTOGRAPH
         "' -f lavfi -i sine -filter_complex '[1]scale=-2:120[p];[0][p]overlay=40+20*sin(t):0:shortest=1," +
         filter + "' -t 5 " + words + " " + name);
}

// The exit status; what was said on standard error is in ../err.
int Shell(const std::string& command) {
  return WEXITSTATUS(std::system((kTimeLimit + "sh -c '" + command + "' 2>../err").c_str()));
}

// Each film through the nine functions, as an application would use them.
std::string ByTheLibrary(std::string frames, int32_t effect, int width, int height, int late) {
  Handle handle(effect, PEXO_MODELS_DIR "/MoviePortraitBig.dlc");
  EXPECT_EQ(handle.Init(), HUMANBODYSEG_OK);
  const std::size_t size = static_cast<std::size_t>(width) * height * 3 / 2;
  for (int i = 0; i < late; ++i) frames += frames.substr(frames.size() - size);
  for (std::size_t start = 0; start < frames.size(); start += size) {
    uint8_t* luma = reinterpret_cast<uint8_t*>(frames.data()) + start;
    QmxImage image{QMX_FORMAT_NV21, width, height, {luma, luma + static_cast<std::ptrdiff_t>(width) * height}, {}};
    EXPECT_EQ(handle.Process(image), HUMANBODYSEG_OK);
  }
  return frames.substr(late * size);
}

TEST_F(PortraitFilms, EffectsAreTheLibrarysToTheByte) {
  const std::tuple<std::string, int32_t, int> effects[] = {{"colour", HUMANBODYSEG_EFFECT_COLOUR, 1},
                                                           {"blur", HUMANBODYSEG_EFFECT_BLUR, 2},
                                                           {"mask", HUMANBODYSEG_EFFECT_MASK, 0}};
  const std::string count = PEXO_EMULATED ? "6" : "40";
  for (const std::string range : {"tv", "pc"}) {
    MakeTalk("in.mkv", "-c:v ffv1 -pix_fmt yuv420p -color_range " + range + " -frames:v " + count);
    const std::string frames = RawFrames("in.mkv", "nv21");
    for (const auto& [name, effect, late] : effects) {
      EXPECT_EQ(Portrait("--quiet --codec ffv1 --effect " + name + " in.mkv out.mkv", 0, ""), "");
      EXPECT_TRUE(RawFrames("out.mkv", "nv21") == ByTheLibrary(frames, effect, 160, 120, late)) << name << range;
      EXPECT_EQ(Probe("out.mkv", "-select_streams v -show_entries stream=color_range"), range + "\n");
    }
  }
}

TEST_F(PortraitFilms, FramesTimesAndSoundStay) {
  // Times are uneven. There are more frames than the encoder looks ahead, unless each of them takes its time.
  MakeTalk("in.mp4", std::string("-fps_mode vfr -enc_time_base 1/1000 -bf 2 -t ") + (PEXO_EMULATED ? "1" : "2"),
           "settb=1/1000,setpts=PTS+4*mod(N\\,3)");
  MakeTalk("in.mkv", "-c:v libx264 -preset ultrafast -c:a libopus -frames:v 40 -t 1.3");
  Ffmpeg("-f lavfi -i testsrc2=s=64x48:r=7:d=0.6 moving.mp4");
  const std::string cases[][3] = {
      {"--effect colour", "in.mp4", "out.mp4"},         {"--effect blur", "in.mp4", "out.mov"},
      {"--background blur:50", "in.mp4", "out.mp4"},    {"--background in.png", "in.mp4", "out.mp4"},
      {"--background moving.mp4", "in.mp4", "out.mp4"}, {"--background none", "in.mp4", "out.mov"},
      {"--background none", "in.mkv", "out.webm"}};
  for (const auto& [options, input, output] : cases) {
    EXPECT_EQ(Portrait("--quiet " + options + " " + input + " " + output, 0, ""), "");
    EXPECT_EQ(FrameTimes(output), FrameTimes(input)) << options;
    EXPECT_EQ(Sound(output), Sound(input)) << options;
  }
  // Sound that begins before the picture does not move it; a broadcast begins at any time of day.
  EXPECT_EQ(Portrait("--quiet in.mp4 out.mkv", 0, ""), "");
  EXPECT_EQ(FrameTimes("out.mkv"), FrameTimes("in.mp4"));
  MakeTalk("in.ts", "-an -c:v mpeg2video -frames:v 3 -output_ts_offset 3600");
  EXPECT_EQ(Portrait("--quiet in.ts out.flv", 0, ""), "");
  EXPECT_EQ(FrameTimes("out.flv"), "0.000000\n0.033000\n0.067000\n");
  EXPECT_EQ(Portrait("--stats in.mkv out.mkv 2>../words", 0, "out.mkv: 160x120, 39 frames\n"), "");
  for (const char* word : {"39 frames", "segment ", "compose ", "person   in 100.0 %"}) {
    EXPECT_NE(ReadFile("../words").find(word), std::string::npos) << ReadFile("../words");
  }
}

TEST_F(PortraitFilms, SubtitlesChaptersTagsAndAttachmentsStay) {
  WriteFile("words.srt", "1\n00:00:00,100 --> 00:00:00,900\nHello\n");
  WriteFile("about",
            ";FFMETADATA1\ntitle=A talk\n[CHAPTER]\nTIMEBASE=1/10\nSTART=0\nEND=5\ntitle=One\n"
            "[CHAPTER]\nTIMEBASE=1/10\nSTART=5\nEND=7\ntitle=Two\n"
            "[CHAPTER]\nTIMEBASE=1/10\nSTART=7\nEND=13\ntitle=Three\n");
  MakeTalk("talk.mkv", "-c:v libx264 -preset ultrafast -t 1.3");
  for (const auto& [words, film] :
       {std::pair("-c:s copy -attach words.srt -metadata:s:t mimetype=text/plain", "in.mkv"),
        std::pair("-c:s mov_text -map 3 -disposition:v:1 attached_pic", "in.mp4")}) {
    Ffmpeg(std::string("-i talk.mkv -i words.srt -i about -i in.png -map 0 -map 1 -map_metadata 2 -c:v copy "
                       "-c:a aac -metadata:s:a language=fra -disposition:s:0 forced ") +
           words + " " + film);
    const std::string output = "out" + std::string(film).substr(2);
    EXPECT_EQ(Portrait("--quiet --effect blur " + std::string(film) + " " + output, 0, ""), "");
    const char* const kept =
        "-show_entries stream=codec_type:stream_disposition=forced,attached_pic:stream_tags=language:format_tags=title:"
        "chapter=start_time,end_time:chapter_tags=title:packet=pts_time,size -select_streams ";
    for (const char* stream : {"s", "t", "a", "v:1"}) {
      EXPECT_EQ(Probe(output, std::string(kept) + stream), Probe(film, std::string(kept) + stream)) << film;
    }
  }
  EXPECT_EQ(Portrait("--quiet --from 0.6 --to 1 in.mkv out.mkv", 0, ""), "");
  EXPECT_EQ(Probe("out.mkv", "-show_entries chapter=start_time,end_time:chapter_tags=title"),
            "0.000000,0.077000,Two\n0.077000,0.400000,Three\n");  // from the first frame, at 0.023
  EXPECT_EQ(Portrait("--quiet in.mp4 out.webm 2>../words", 0, ""), "");
  EXPECT_EQ(ReadFile("../words"),
            "portrait: out.webm: audio stream 1 (aac) is left out: the format webm cannot hold it\n"
            "portrait: out.webm: subtitle stream 2 (mov_text) is left out: the format webm cannot hold it\n"
            "portrait: out.webm: video stream 4 (png) is left out: the format webm cannot hold it\n");
}

TEST_F(PortraitFilms, EveryFrameIsRenderedWithItsOwnMask) {
  MakeJumps("in.mkv", 45, "-c:v ffv1");
  for (const std::string options : {"--effect colour", "--background grey --mask-out mask.mkv"}) {
    EXPECT_EQ(Portrait("--quiet --codec ffv1 " + options + " in.mkv out.mkv", 0, ""), "");
    const std::vector<Jump> frames = ReadJumps("out.mkv");
    ASSERT_EQ(frames.size(), 45u);
    for (int i = 0; i < 45; ++i) {
      EXPECT_EQ(frames[i].number, i) << options;
      EXPECT_NEAR(frames[i].colour, JumpLeft(i) + kJumpPerson / 2, 14) << options << " " << i;
    }
  }
  const std::vector<Jump> masks = ReadJumps("mask.mkv");
  ASSERT_EQ(masks.size(), 45u);
  for (int i = 0; i < 45; ++i) EXPECT_NEAR(masks[i].white, JumpLeft(i) + kJumpPerson / 2, 14) << i;
}

TEST_F(PortraitFilms, APartBeginsAtItsFirstFrame) {
  MakeJumps("in.mp4", 90, "-c:v libx264 -g 40 -crf 10");
  EXPECT_EQ(Portrait("--quiet --background grey --codec ffv1 --from 1.5 --to 2 in.mp4 out.mkv", 0, ""), "");
  const std::vector<Jump> frames = ReadJumps("out.mkv");
  ASSERT_EQ(frames.size(), 15u);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(frames[i].number, 45 + i);
  EXPECT_EQ(FrameTimes("out.mkv").substr(0, 9), "0.000000\n");
  const std::string sound = Probe("out.mkv", "-select_streams a -show_entries packet=pts_time");
  EXPECT_NEAR(static_cast<double>(std::ranges::count(sound, '\n')), 0.5 * 44100 / 1024, 1);
  EXPECT_EQ(Portrait("--quiet --from 3 in.mp4 none.mkv", 1, "in.mp4: --from is past the end"), "");
  EXPECT_EQ(Portrait("--quiet --from 1.51 --to 1.52 in.mp4 none.mkv", 1, "no frame lies between --from and --to"), "");
  media::Stop stop;
  EXPECT_EQ(media::FilmReader({"in.mp4", "", 1'500'000, 2'000'000}, stop).EstimateFrameCount(), 15);
  EXPECT_EQ(Portrait("--quiet --size 64x64 in.mp4 out.mp4", 0, ""), "");
  EXPECT_EQ(Probe("out.mp4", "-select_streams v -show_entries stream=width,height,sample_aspect_ratio,nb_frames"),
            "64,64,2:1,90\n");
}

TEST(PortraitProgress, CountsDown) {
  const auto start = std::chrono::steady_clock::now();
  testing::internal::CaptureStderr();
  portrait::Progress shown(true, 1290), quiet(false, 1290);
  for (int i = 0; i <= 60; ++i) {
    for (portrait::Progress* progress : {&shown, &quiet})
      progress->CountFrame(start + i * std::chrono::milliseconds(100));
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "frame 51 of 1290, 10.0 a second, 2:04 left\n");
}

// The colour effect changes no luma at all.
TEST_F(PortraitFilms, SizesRangesAndMatricesStay) {
  const char* const cases[][3] = {
      {"yuv420p", "160:120", "-colorspace bt709 -color_primaries film -color_trc log100 -chroma_sample_location top"},
      {"yuv420p", "97:75", "-color_range pc -colorspace smpte170m"},
      {"yuv422p", "98:75", "-color_range tv"},
      {"yuv444p", "97:76", "-color_range pc -aspect 2"},
      {"yuv444p", "2:2", "-frames:v 2"},
      {"nv12", "64:48", "-c:v rawvideo -frames:v 1"},
  };
  for (const auto& [pixels, size, words] : cases) {
    Ffmpeg(std::string("-f lavfi -i testsrc2=s=160x120:r=30:d=0.2 -vf format=yuv444p,crop=") + size +
           ":exact=1,setsar=1 -c:v ffv1 -pix_fmt " + pixels + " -disposition:v original -metadata:s:v title=T " +
           words + " in.mkv");
    EXPECT_EQ(Portrait("--quiet --effect colour --codec ffv1 in.mkv out.mkv", 0, ""), "");
    const char* const kept =
        "-count_frames -show_entries stream_disposition=original:stream_tags=title:stream=width,height,avg_frame_rate,"
        "color_range,color_space,color_primaries,color_transfer,chroma_location,sample_aspect_ratio,nb_read_frames";
    EXPECT_EQ(Probe("out.mkv", kept), Probe("in.mkv", kept));
    EXPECT_TRUE(RawFrames("out.mkv", "gray") == RawFrames("in.mkv", "gray")) << pixels << size;
    if (std::string(size) != "97:75") continue;
    EXPECT_EQ(Portrait("--quiet in.mkv out.mp4", 0, ""), "");  // H.264, which likes even sizes
    const char* const size_kept = "-count_frames -show_entries stream=width,height,nb_read_frames";
    EXPECT_EQ(Probe("out.mp4", size_kept), Probe("in.mkv", size_kept));
  }
  Ffmpeg("-f lavfi -i testsrc2=s=64x48:d=0.2 -c:v ffv1 -pix_fmt yuv420p10 in.mkv");
  EXPECT_EQ(Portrait("--quiet in.mkv out.mp4 2>../words", 0, ""), "");
  EXPECT_EQ(ReadFile("../words"), "portrait: in.mkv: its 10-bit pictures are rendered in 8 bits\n");
  Ffmpeg("-f lavfi -i testsrc2=s=64x48:d=0.2 -c:v mpeg2video -flags +ildct+ilme -top 0 in.mkv");
  for (const auto& [words, fields] : {std::pair("", "1,0"), std::pair("--size 64x32", "0,0")}) {
    EXPECT_EQ(Portrait(std::string("--quiet in.mkv out.mp4 ") + words, 0, ""), "");
    EXPECT_EQ(Probe("out.mp4", "-show_entries frame=interlaced_frame,top_field_first").substr(0, 3), fields) << words;
  }
}

// Blue is 41 in BT.601 and 32 in BT.709, which a film that says neither has from 720 rows on.
TEST_F(PortraitFilms, UntaggedFilmsHaveTheMatrixOfTheirSize) {
  const std::tuple<std::string, std::string, int> cases[] = {{"-s 720x718", "", 41},
                                                             {"-s 720x720 -colorspace smpte170m", "", 41},
                                                             {"-s 720x720 -pix_fmt gbrp", "", 32},
                                                             {"-s 720x720", "--size 64x48 ", 32}};
  for (const auto& [words, options, level] : cases) {
    Ffmpeg("-f lavfi -i color=gray -frames:v 1 -c:v ffv1 -pix_fmt yuv420p " + words + " in.mkv");
    EXPECT_EQ(Portrait("--quiet --codec ffv1 --background blue " + options + "in.mkv out.mkv", 0, ""), "");
    EXPECT_NEAR(static_cast<uint8_t>(RawFrames("out.mkv", "gray")[0]), level, 1) << words << options;
  }
}

TEST_F(PortraitFilms, QualityIsInTheEncodersOwnMeasure) {
  MakeTalk("in.mkv", "-frames:v 5 -an -c:v ffv1");
  for (const auto& [codec, quality] : {std::pair("libx264", "18"), {"mpeg4", "3"}}) {
    const auto size = [&, name = codec](const std::string& words) {
      EXPECT_EQ(Portrait("--quiet --codec " + std::string(name) + words + " in.mkv out.mp4", 0, ""), "");
      return std::filesystem::file_size("out.mp4");
    };
    EXPECT_EQ(size(""), size(std::string(" --quality ") + quality)) << codec;
    EXPECT_GT(2 * size(""), 3 * size(" --quality 30")) << codec;
    EXPECT_EQ(std::ranges::count(Probe("out.mp4", "-show_entries packet=flags"), 'K'), 1) << codec;
  }
}

// A telephone's film lies on its side, and says so.
TEST_F(PortraitFilms, StoredRotationIsFollowedAndKept) {
  MakeTalk("upright.mp4", "-an -frames:v 2 -crf 5", "setsar=4/3");
  EXPECT_EQ(Portrait("--quiet --background white --mask-out up.mp4 --codec ffv1 upright.mp4 out.mkv", 0, ""), "");
  const std::string upright = RawFrames("up.mp4", "gray");
  const std::string filters[] = {"transpose=cclock", "vflip,hflip", "transpose=clock"};
  for (int turns = 1; turns <= 3; ++turns) {
    // The tag counts the other way round.
    Ffmpeg("-i upright.mp4 -vf " + filters[turns - 1] + " -crf 5 lying.mp4");
    Ffmpeg("-i lying.mp4 -c copy -metadata:s:v rotate=" + std::to_string(360 - 90 * turns) + " in.mp4");
    const char* const rotation = "-show_entries stream=width,sample_aspect_ratio:stream_side_data=rotation";
    EXPECT_EQ(Portrait("--size 80x60 in.mp4 out.mp4 2>../words", 0, "out.mp4: 80x60, 2 frames\n"), "");
    for (const std::string& film : {"--rotate " + std::to_string(90 * turns) + " lying.mp4", std::string("in.mp4")}) {
      EXPECT_EQ(Portrait("--quiet --background white --mask-out mask.mp4 " + film + " out.mp4", 0, ""), "");
      EXPECT_LE(MeanDifference(RawFrames("mask.mp4", "gray", filters[3 - turns]), upright), 3) << film;
    }
    EXPECT_EQ(Probe("out.mp4", rotation), Probe("in.mp4", rotation));
    EXPECT_EQ(Portrait("--quiet --background white --mask-out mask.mkv in.mp4 out.mkv", 0, ""), "");
    EXPECT_EQ(Probe("out.mkv", rotation), "160,4:3\n");  // what cannot say so stands upright
    EXPECT_LE(MeanDifference(RawFrames("mask.mkv", "gray"), upright), 3) << turns;
  }
}

TEST_F(PortraitFilms, TransparencyIsTheMaskAndFilmsBehindGoOn) {
  MakeTalk("in.mp4", "-frames:v 9 -an");
  for (const auto& [output, decoder] : {std::pair("out.mov", ""), std::pair("out.webm", "-c:v libvpx-vp9")}) {
    EXPECT_EQ(Portrait(std::string("--quiet --background none --mask-out mask.mkv in.mp4 ") + output, 0, ""), "");
    Ffmpeg(std::string(decoder) + " -i " + output + " -vf extractplanes=a -c:v ffv1 -pix_fmt gray alpha.mkv");
    EXPECT_LE(MeanDifference(RawFrames("alpha.mkv", "gray"), RawFrames("mask.mkv", "gray")), 2) << output;
  }
  EXPECT_EQ(Portrait("--quiet --calm 0 --mask-out uncalmed.mkv in.mp4 out.mkv", 0, ""), "");
  EXPECT_TRUE(RawFrames("uncalmed.mkv", "gray") != RawFrames("mask.mkv", "gray"));
  // Three pictures of a tenth of a second each, round and round.
  Ffmpeg("-f lavfi -i color=s=16x16:r=10:d=0.3,geq=lum=50+50*N:cb=128:cr=128 -c:v ffv1 -pix_fmt yuv420p moving.mkv");
  MakeTalk("in.mkv", "-frames:v 21 -an -c:v ffv1 -pix_fmt yuv420p -output_ts_offset 0.1");
  EXPECT_EQ(Portrait("--quiet --background moving.mkv --codec ffv1 in.mkv out.mkv", 0, ""), "");
  const std::string frames = RawFrames("out.mkv", "gray");
  ASSERT_EQ(frames.size(), 21u * 160 * 120);
  for (std::size_t i = 0; i < 21; ++i) {
    EXPECT_NEAR(static_cast<uint8_t>(frames[i * 160 * 120]), 50.0 + 50.0 * static_cast<double>(i / 3 % 3), 2) << i;
  }
}

TEST_F(PortraitFilms, WhatCannotBecomeAFilmIsRefused) {
  MakeTalk("in.mp4", "-frames:v 10");
  Ffmpeg("-i in.mp4 -vn -c copy sound.m4a -i in.mp4 -map 0:v -c:v ffv1 -color_trc smpte2084 hdr.mkv");
  WriteFile("kept.mp4", "as it was");
  std::filesystem::create_hard_link("in.mp4", "same.mp4");
  const std::tuple<const char*, int, const char*> cases[] = {
      {"sound.m4a kept.mp4", 1, "sound.m4a: holds sound only"},
      {"hdr.mkv kept.mp4", 1, "high dynamic range (PQ)"},
      {"kept.mp4 out.mp4", 1, "kept.mp4: not a picture or a film"},
      {"absent.mp4 kept.mp4", 1, "absent.mp4: "},
      {"in.mp4 absent/out.mp4", 1, "absent/out.mp4: cannot be written"},
      {"--model absent.dlc in.mp4 kept.mp4", 1, "absent.dlc: "},
      {"in.mp4 same.mp4", 2, "same.mp4: "},
      {"--background in.mp4 hdr.mkv same.mp4", 2, "same.mp4: "},
      {"--mask-out kept.mp4 in.mp4 kept.mp4", 2, "kept.mp4: "},
  };
  for (const auto& [words, status, text] : cases) {
    EXPECT_EQ(Portrait(std::string("--quiet ") + words, status, text), "");
  }
  EXPECT_EQ(Portrait("--quiet in.mp4 kept.mp4", 1, "kept.mp4: ", "ulimit -f 1; trap '' XFSZ;"), "");
  EXPECT_EQ(ReadFile("kept.mp4"), "as it was");
}

TEST_F(PortraitFilms, OfATruncatedFilmTheBeginningIsRendered) {
  MakeTalk("whole.mp4", "-frames:v 60 -movflags +faststart");
  for (const std::string name : {"whole.mp4", "whole.mkv", "whole.nut", "whole.y4m"}) {
    if (name != "whole.mp4") Ffmpeg("-i whole.mp4 -bf 0 " + name);
    const std::string whole = ReadFile(name);
    WriteFile("in.dat", whole.substr(0, whole.size() * 6 / 10));
    EXPECT_EQ(Shell("\"" PEXO_PORTRAIT "\" --quiet in.dat out.mkv"), 1) << name;
    const std::string err = ReadFile("../err");
    EXPECT_TRUE(err.starts_with("portrait: in.dat: ") && err.ends_with(" frames are written\n")) << name << err;
    const int frames =
        std::stoi(Probe("out.mkv", "-select_streams v -count_frames -show_entries stream=nb_read_frames"));
    EXPECT_TRUE(frames > 0 && frames < 60) << name << frames;
    EXPECT_EQ(Portrait("--quiet " + name + " out.mkv", 0, ""), "");
  }
}

TEST_F(PortraitFilms, PipesCarryTheSameFrames) {
  MakeTalk("in.nut", "-frames:v 20 -an -c:v ffv1 -pix_fmt yuv420p");
  EXPECT_EQ(Portrait("--quiet --codec ffv1 in.nut file.mkv", 0, ""), "");
  const std::string frames = RawFrames("file.mkv", "yuv420p");
  for (const std::string words :
       {"--format yuv4mpegpipe - - >out.dat", "--format matroska --codec rawvideo in.nut - >out.dat"}) {
    EXPECT_EQ(Portrait("--quiet " + words, 0, "", "<in.nut cat |"), "");
    EXPECT_TRUE(RawFrames("out.dat", "yuv420p") == frames) << words;
  }
  EXPECT_EQ(Portrait("--quiet --codec ffv1 --format nut - out.mkv", 0, "", "<in.nut cat |"), "");
  EXPECT_TRUE(RawFrames("out.mkv", "yuv420p") == frames);
}

TEST_F(PortraitFilms, AnInterruptedFilmPlaysUpToThere) {
  MakeTalk("in.nut", "-frames:v 30 -c:v libx264 -preset ultrafast");
  WriteFile("out.mkv", "an older one");
  ::mkfifo("pipe", 0600);
  // The program is waiting for more when the signal comes, or soon will be.
  const int status = Shell("\"" PEXO_FFMPEG
                           "\" -v quiet -stream_loop -1 -i in.nut -c copy -f nut - >pipe & writer=$!; \"" PEXO_PORTRAIT
                           "\" --quiet --codec rawvideo - out.mkv <pipe & "
                           "until [ -n \"$(find . -name \".part-*\" -size +0)\" ]; do sleep 0.05; done; "
                           "kill -STOP $writer; kill -INT $!; wait $!; status=$?; kill -KILL $writer; exit $status");
  EXPECT_EQ(status, 130);
  EXPECT_NE(ReadFile("../err").find("interrupted: "), std::string::npos) << ReadFile("../err");
  EXPECT_GT(std::stoi(Probe("out.mkv", "-select_streams v -count_frames -show_entries stream=nb_read_frames")), 0);
  EXPECT_EQ(Files(), "in.nut\nin.png\nout.mkv\npipe\n");
}

}  // namespace
}  // namespace pexo::test
