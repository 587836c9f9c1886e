// Pipes on either side of the renderer, and files that are cut short.
#include <cstdlib>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"

namespace ulmar::render {
namespace {

using test::bytesOf;

// A folder with sound, and what the renderer makes of it from file to file.
class Pipes : public testing::Test {
 protected:
  Pipes() {
    audio::AudioFormat format = {
        .channels = 2, .sampleRate = 48000, .samples = audio::SampleFormat::pcm24};
    audio::writeAudio(folder / "ir.wav", format, audio::noise(2 * 500));
    format.tags.texts[audio::Tag::title] = "Dry";
    format.tags.broadcast.emplace().timeReference = 1ULL << 40;
    audio::writeAudio(folder / "dry.wav", format, audio::noise(2 * 20000));
    format.tags = {};
    audio::writeAudio(folder / "part.wav", format, audio::noise(2 * 5000));
    expectRun(folder, words("-i dry.wav --ir ir.wav -o wet.wav --gain auto"));
  }

  // What a shell says to a line in which $R is the renderer.
  std::string said(const std::string& line) const {
    const std::string call =
        "cd '" + (folder / "") +
        "'; R='" ULMAR_PROGRAM "' I='" ULMAR_INSPECTOR "' bash -c '" + line + "' 2>err";
    EXPECT_EQ(std::system(call.c_str()), 0) << line << bytesOf(folder / "err");
    return bytesOf(folder / "err");
  }

  test::ScratchDir folder;
};

TEST_F(Pipes, CarryTheSameBytesAsFiles) {
  const std::string wet = bytesOf(folder / "wet.wav");
  std::string open = bytesOf(folder / "dry.wav");
  open.replace(open.find("data") + 4, 4, 4, '\xFF');
  test::writeBytes(folder / "open", open);
  for (const std::string line :
       {"cat dry.wav | $R -i - --ir <(cat ir.wav) -o - --gain auto | cat >out",
        "$R -i /dev/stdin --ir ir.wav -o /dev/stdout --gain auto <dry.wav | cat >out",
        "mkfifo in to; cat open >in & cat to >out & "
        "$R -i in --ir ir.wav -o to --gain auto >&2; wait",
        "$R -i - --ir ir.wav -o - --gain auto >out <open"}) {
    SCOPED_TRACE(line);
    EXPECT_NE(said(line).find("\nrendered "), std::string::npos);
    EXPECT_TRUE(bytesOf(folder / "out") == wet);
    std::filesystem::remove(folder / "out");
  }
  EXPECT_EQ(audio::AudioReader(folder / "wet.wav").info().tags,
            audio::AudioReader(folder / "dry.wav").info().tags);
  said(
      "cat ir.wav | $I - >piped; $I ir.wav | "
      "sed \"1s/^ir.wav/standard input/; s/--ir ir.wav/--ir -/\" | cmp - piped");
}

TEST_F(Pipes, OfACutFileWhatIsThereIsRendered) {
  const std::string part = bytesOf(folder / "part.wav");
  std::string cut = part;
  cut.replace(cut.find("data") + 4, 4, audio::little(4 * 5000 * 6, 4));
  test::writeBytes(folder / "cut.wav", cut);
  const std::string missing =
      "warning: cut.wav is cut short: of the 0.417 s that its header promises, 0.312 s "
      "(75 %) are missing\n";
  for (const std::string options : {"-i # --ir ir.wav", "-i dry.wav --ir #"}) {
    const auto render = [&](std::string arguments, const std::string& output) {
      arguments.replace(arguments.find('#'), 1,
                        output == "a.wav" ? "part.wav" : "cut.wav");
      return said("$R " + arguments + " --dry -20 --wet -60 --quiet -o " + output);
    };
    EXPECT_EQ(render(options, "a.wav"), "");
    EXPECT_EQ(render(options, "b.wav"), "ulmar-render: " + missing);
    EXPECT_EQ(bytesOf(folder / "a.wav"), bytesOf(folder / "b.wav"));
  }
  EXPECT_EQ(said("$I cut.wav >report"), "ulmar-inspect: " + missing);
  EXPECT_NE(said("! $I cut.wav --strict").find("--strict"), std::string::npos);
}

}  // namespace
}  // namespace ulmar::render
