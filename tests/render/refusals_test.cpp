// What is refused, how that is said, and that nothing is lost by it.
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>
#include <tuple>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/pictures.h"
#include "tests/support/random.h"

namespace ulmar::render {
namespace {

using test::ScratchDir;

constexpr const char* kOldOutput = "what an earlier run has written";

// Of dry.wav through ir.wav: two frames of the resampled response and what it rings.
constexpr unsigned kOutFrames = 20000 + 2 + (128 * 48000 + 44099) / 44100;

// A folder with sound and with spoilt files, and an older output.
class Refusals : public testing::Test {
 protected:
  Refusals() {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    write("dry.wav", 2, 48000, test::Random(1).signal(2 * 20000));
    write("mono.wav", 1, 48000, {0.5F, 0.25F});
    write("ir.wav", 2, 44100, {0.5F, 0.0F, 0.25F, 0.5F});
    for (const int count : {3, 4, 5, 6, 7, 9}) {
      write(std::to_string(count).append(".wav"), count, 48000,
            std::vector<float>(static_cast<std::size_t>(count), 0.5F));
    }
    using enum audio::Speaker;
    write("odd.wav", 5, 48000, {0.5F, 0.5F, 0.5F, 0.5F, 0.5F},
          {frontLeft, frontRight, rearLeft, rearRight, rearCenter});
    write("silent.wav", 1, 48000, std::vector<float>(48000));
    write("slow.wav", 1, 4000, {0.5F});
    write("fast.wav", 1, 768000, {0.5F});
    test::writeBytes(folder / "text.wav", "Dear diary, today I recorded nothing.");
    test::writeBytes(folder / "truncated.wav",
                     audio::WavHeader{.dataLen = 4000}.with(std::string(400, '\1')));
    spoil("nan.wav", 9000, kNaN);
    spoil("inf.wav", 3, kInfinity);
    test::writeBytes(folder / "wet.wav", kOldOutput);
    std::filesystem::create_directory(folder / "folder.wav");
    mkfifo((folder / "pipe.wav").c_str(), 0600);
    std::filesystem::create_hard_link(folder / "dry.wav", folder / "link.wav");
    names_ = folder.names();
  }

  // The older output as it was, and nothing beside the files that were there.
  void expectUntouched() const {
    EXPECT_EQ(test::bytesOf(folder / "wet.wav"), kOldOutput);
    EXPECT_EQ(folder.names(), names_);
  }

  ScratchDir folder;

 private:
  void write(const std::string& name, int channels, int rate,
             const std::vector<float>& samples,
             const std::vector<audio::Speaker>& speakers = {}) {
    audio::writeAudio(folder / name,
                      {.channels = channels, .sampleRate = rate, .speakers = speakers},
                      samples);
  }

  // A float WAV whose last of so many frames is the value, which no writer would take.
  void spoil(const char* name, int frames, float value) {
    std::vector<float> samples(static_cast<std::size_t>(frames), 0.5F);
    write(name, 1, 48000, samples);
    std::string bytes = test::bytesOf(folder / name);
    const char* const raw = reinterpret_cast<const char*>(&value);
    bytes.replace(bytes.size() - sizeof value, sizeof value, raw, sizeof value);
    test::writeBytes(folder / name, bytes);
  }

  std::set<std::string> names_;
};

struct Refusal {
  std::vector<std::string> arguments;
  std::vector<std::string> parts;  // of the sentence
  int exitCode = 1;
};

// The arguments of a call that is right but for what the words say instead.
std::vector<std::string> with(std::vector<std::string> options,
                              const std::string& input = "dry.wav",
                              const std::string& response = "ir.wav",
                              const std::string& output = "wet.wav") {
  std::vector<std::string> arguments = {"-i", input, "--ir", response, "-o", output};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return arguments;
}

std::vector<Refusal> refusals() {
  return {
      // Files that cannot be read.
      {with({}, "none.wav"), {"none.wav", "No such file"}},
      {with({}, "dry.wav", "none.wav"), {"none.wav", "No such file"}},
      {with({}, "dry.wav", "text.wav"), {"text.wav", "no audio file"}},
      {with({}, "truncated.wav"), {"truncated.wav", "4000", "400"}},
      {with({}, "nan.wav"), {"nan.wav", "nan", "8999"}},
      {with({}, "dry.wav", "inf.wav"), {"inf.wav", "inf", "frame 2"}},
      {with({}, "pipe.wav"), {"pipe.wav", "not a regular file"}},
      {with({}, "dry.wav", "pipe.wav"), {"pipe.wav", "not a regular file"}},
      // Files that do not fit.
      {with({}, "3.wav"), {"3.wav", "3 channels", "1, 2, 5 or 6"}},
      {with({}, "dry.wav", "3.wav"), {"3.wav", "3 channels", "--bformat"}},
      {with({}, "dry.wav", "silent.wav"), {"silent.wav", "all 48000 frames", "silent"}},
      {with({"--ir-length", "2e-5"}, "dry.wav", "silent.wav"),
       {"silent.wav", "the one frame", "is silent"}},
      {with({"--crossfeed", "0.5"}, "mono.wav"), {"mono.wav", "0.5", "1 channel", "2"}},
      {{"-i", "slow.wav", "--room", "hall", "-o", "wet.wav"},
       {"slow.wav", "4000 Hz", "8000"}},
      // Outputs that cannot be.
      {with({}, "dry.wav", "ir.wav", "dry.wav"), {"dry.wav", "replaced"}},
      {with({}, "dry.wav", "ir.wav", "./folder.wav/../ir.wav"), {"ir.wav", "replaced"}},
      {with({}, "dry.wav", "ir.wav", "link.wav"), {"link.wav", "dry.wav", "replaced"}},
      {with({}, "dry.wav", "ir.wav", "wet.mp3"), {"wet.mp3", "'.mp3'", ".flac"}},
      {with({"--picture", "wet.jpg"}), {"wet.jpg", "'.jpg'", ".svg, .png or .pdf"}},
      {with({"--format", "float"}, "dry.wav", "ir.wav", "wet.flac"),
       {"wet.flac", "float", "16 or 24"}},
      {with({"--tail", "3600"}, "fast.wav", "ir.wav", "wet.aiff"),
       {"wet.aiff", "2764800001 frames"}},
      // Values out of range.
      {with({"--ir-start", "1"}), {"ir.wav", "--ir-start", "1 s"}},
      {with({"--ir-length", "0"}),
       {"0 s of ir.wav", "--ir-length", "one frame", "0.0227 ms"}},
      {with({"--ir-fade", "1"}), {"ir.wav", "--ir-fade", "1 s"}},
      {with({"--block", "500"}),
       {"--block is '500'", "power of two from 4 to 131072"},
       2},
      {with({"--block", "2"}), {"--block is '2'", "power of two from 4 to 131072"}, 2},
      {with({"--block", "262144"}), {"--block is '262144'", "from 4 to 131072"}, 2},
      {with({"--block", "64.5"}), {"--block is '64.5'", "power of two"}, 2},
      {with({"--block", "4", "--hf-truncate"}),
       {"--block is '4'", "at least 8 with --hf-truncate"},
       2},
      {with({"--wet", "61"}), {"--wet", "'61'", "-200 to 60 dB", "off"}, 2},
      {with({"--dry", "nan"}), {"--dry", "'nan'", "-200 to 60 dB", "off"}, 2},
      {with({"--predelay", "-1"}), {"--predelay", "'-1'", "0 to 10000 ms"}, 2},
      {with({"--crossfeed", "1.01"}), {"--crossfeed", "'1.01'", "0 to 1"}, 2},
      {with({"--tail", "long"}), {"--tail", "'long'", "full", "none", "0 to 3600"}, 2},
      {with({"--normalize", "rms"}), {"--normalize", "'rms'", "peak", "energy"}, 2},
      {with({"--format", "32"}), {"--format", "'32'", "float, 24 or 16"}, 2},
      {{"-i", "dry.wav", "--room", "barn", "-o", "wet.wav"},
       {"--room", "'barn'", "small, hall or cathedral"},
       2},
      // Calls that do not make sense.
      {with({"--room", "hall"}), {"--ir", "--room"}, 2},
      {with({"--seed", "1"}), {"--seed", "--room"}, 2},
      {with({"--loud"}), {"--loud"}, 2},
      {with({"--wet"}), {"--wet", "value"}, 2},
      {with({"-i", "mono.wav"}), {"-i,--input", "2 times", "one value"}, 2},
      {with({"--wet", "-3", "--wet=-6"}), {"--wet", "2 times", "one value"}, 2},
      {{"-i", "dry.wav", "-o", "wet.wav"}, {"--ir", "--room"}, 2},
      {{"--ir", "ir.wav", "-o", "wet.wav"}, {"-i"}, 2},
      {{"-i", "dry.wav", "--ir", "ir.wav"}, {"-o"}, 2},
  };
}

// A call that puts input into a response, or without one into a room.
std::vector<std::string> surround(const std::string& input, const std::string& response,
                                  std::vector<std::string> options) {
  std::vector<std::string> arguments = with(std::move(options), input, response);
  if (response.empty())
    std::tie(arguments[2], arguments[3]) = std::pair("--room", "hall");
  return arguments;
}

std::vector<Refusal> surroundRefusals() {
  return {
      // clang-format off
      // Layouts that cannot be told, or not so.
      {surround("odd.wav", "", {}), {"odd.wav", "5 channels", "5.0"}},
      {surround("mono.wav", "odd.wav", {}), {"odd.wav", "5 channels", "other loudspeakers"}},
      {surround("mono.wav", "7.wav", {}), {"7.wav", "7 channels", "1, 2, 4, 5 or 10"}},
      {surround("mono.wav", "9.wav", {"--bformat", "fuma"}), {"9.wav", "9 channels", "3, 4, 6 or 8"}},
      {surround("mono.wav", "5.wav", {"--bformat", "fuma"}), {"5.wav", "5 channels", "3, 4, 6 or 8"}},
      {surround("mono.wav", "3.wav", {"--bformat", "ambix"}), {"3.wav", "ambix", "3 channels", "4 or 8"}},
      {surround("mono.wav", "4.wav", {"--ir-layout", "feeds"}), {"4.wav", "4 channels", "5, 6 or 10"}},
      {surround("mono.wav", "4.wav", {"--ir-layout", "stereo"}), {"4.wav", "4 channels", "2"}},
      // Layouts that do not meet.
      {surround("6.wav", "4.wav", {}), {"6.wav", "5.1", "4.wav", "true-stereo", "--bformat"}},
      {surround("mono.wav", "ir.wav", {"--out-layout", "5.0"}), {"ir.wav", "5.0", "stereo"}},
      {surround("mono.wav", "5.wav", {"--out-layout", "stereo"}), {"5.wav", "feeds", "5.1"}},
      {surround("dry.wav", "mono.wav", {"--out-layout", "mono"}), {"dry.wav", "it is stereo"}},
      {surround("mono.wav", "ir.wav", {"--out-layout", "mono"}), {"mono.wav", "ir.wav", "stereo"}},
      {surround("5.wav", "", {"--out-layout", "stereo"}), {"5.wav", "stereo", "5.0"}},
      {surround("6.wav", "", {"--out-layout", "5.0"}), {"6.wav", "low-frequency", "5.1"}},
      {surround("6.wav", "", {"--out-layout", "mono"}), {"6.wav", "mono", "low-frequency"}},
      // Options without effect, or beyond their limits.
      {surround("dry.wav", "ir.wav", {"--crossover", "500"}), {"500 Hz", "--crossover", "stereo"}},
      {surround("dry.wav", "", {"--decode", "--crossover", "24000"}), {"24000 Hz", "23952"}},
      {surround("dry.wav", "", {"--rear-delay", "5"}), {"5 ms", "--rear-delay", "stereo"}},
      {surround("dry.wav", "", {"--out-layout", "7.1"}), {"'7.1'", "mono, stereo, 5.0 or 5.1"}, 2},
      {surround("dry.wav", "", {"--rear-delay", "1001"}), {"'1001'", "0 to 1000 ms"}, 2},
      {surround("dry.wav", "", {"--crossover", "0"}), {"'0'", "1 to 384000 Hz"}, 2},
      // Words that contradict one another, or are missing.
      {surround("mono.wav", "3.wav", {"--decode"}), {"--bformat", "fuma", "ambix"}, 2},
      {surround("mono.wav", "4.wav", {"--ir-layout", "b-format"}), {"--bformat", "ambix"}, 2},
      {surround("mono.wav", "5.wav", {"--passthrough", "--decode"}), {"--passthrough"}, 2},
      {surround("mono.wav", "5.wav", {"--passthrough", "--bformat", "fuma"}), {"--bformat"}, 2},
      {surround("mono.wav", "5.wav", {"--ir-layout", "feeds", "--decode"}), {"--decode"}, 2},
      {surround("mono.wav", "", {"--bformat", "fuma"}), {"--bformat", "--ir", "room"}, 2},
      {surround("mono.wav", "", {"--passthrough"}), {"--passthrough", "room"}, 2},
      // clang-format on
  };
}

// One line from the program, with all parts in it.
void expectRefusal(const Outcome& outcome, const Refusal& refusal) {
  EXPECT_EQ(outcome.exitCode, refusal.exitCode);
  EXPECT_EQ(outcome.err.rfind("ulmar-render: ", 0), 0U) << outcome.err;
  EXPECT_EQ(outcome.err.find('\n') + 1, outcome.err.size()) << outcome.err;
  for (const std::string& part : refusal.parts) {
    EXPECT_NE(outcome.err.find(part), std::string::npos)
        << '"' << part << "\" is not in: " << outcome.err;
  }
}

TEST_F(Refusals, SayInOneSentenceWhatIsWrongAndTouchNothing) {
  for (const auto& all : {refusals(), surroundRefusals()}) {
    for (const Refusal& refusal : all) {
      SCOPED_TRACE(testing::PrintToString(refusal.arguments));
      expectRefusal(run(folder, refusal.arguments), refusal);
      expectUntouched();
    }
  }
}

TEST_F(Refusals, AFullDiskLosesNothing) {
  const Outcome outcome = Program(folder, with({}), 30000).wait();
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("wet.wav"), std::string::npos) << outcome.err;
  expectUntouched();
}

TEST_F(Refusals, AReportThatNobodyTakesIsAFailureAndTheFileIsKept) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  const Refusal refusal = {{}, {"standard output, but wet.wav is complete\n"}};
  for (const char* const option : {"--check", "--help", "--version"}) {
    SCOPED_TRACE(option);
    expectRefusal(runIntoFullDevice(folder, with({option})),
                  {{}, {"standard output\n"}});
    expectUntouched();
  }
  for (const char* const option : {"--align", "--json"}) {
    SCOPED_TRACE(option);
    test::writeBytes(folder / "wet.wav", kOldOutput);
    expectRefusal(runIntoFullDevice(folder, with({option})), refusal);
    EXPECT_EQ(audio::readAudio(folder / "wet.wav").size(), 2U * kOutFrames);
  }
}

TEST_F(Refusals, APictureTakesCairo) {
  if (test::kDrawsPictures) GTEST_SKIP() << "built with cairo";
  expectRefusal(run(folder, with({"--picture", "wet.svg"})),
                {{}, {"wet.svg", "built without cairo"}});
  expectUntouched();
}

TEST_F(Refusals, APictureThatDoesNotFitIsAFailureAndTheFileIsKept) {
  ULMAR_NEEDS_PICTURES();
  const auto arguments = with({"--picture", "wet.svg"}, "mono.wav", "mono.wav");
  expectRefusal(Program(folder, arguments, 3000).wait(),
                {{}, {"wet.svg", "File too large", ", but wet.wav is complete\n"}});
  EXPECT_EQ(audio::readAudio(folder / "wet.wav").size(), 3U);
  EXPECT_FALSE(std::filesystem::exists(folder / "wet.svg"));
}

TEST_F(Refusals, AnInterruptedRunLosesNothing) {
  // Ten minutes of silence, which take seconds to render.
  constexpr unsigned kBytes = 600 * 48000 * 4;
  const audio::WavHeader header = {.dataLen = kBytes};
  test::writeBytes(folder / "link.wav", header.with(""));
  std::filesystem::resize_file(folder / "link.wav", 44 + kBytes);
  const auto before = folder.names();
  for (const int ending : {SIGINT, SIGTERM, SIGQUIT, SIGINT, SIGTERM, SIGQUIT}) {
    Program program(folder, {"-i", "link.wav", "--room", "cathedral", "-o", "wet.wav"});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (folder.names() == before && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_NE(folder.names(), before) << "nothing is being written";
    // The impatient do it again, while the first signal is still being dealt with.
    for (int times = 0; times < 200; ++times) kill(program.pid(), ending);
    EXPECT_EQ(program.wait().signal, ending);
    expectUntouched();
  }
}

TEST_F(Refusals, CheckSaysWhatItWouldDoAndWritesNothing) {
  const Outcome text = expectRun(folder, with({"--check"}));
  for (const char* const part : {"dry.wav", "ir.wav", "wet.wav", "48000 Hz", "44100 Hz",
                                 "2 channels", "512", "MiB"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part << " in " << text.out;
  }
  const auto figures = nlohmann::json::parse(
      expectRun(folder, with({"--check", "--json"})).out, nullptr, false);
  EXPECT_EQ(figures["output"]["frames"], kOutFrames);
  EXPECT_TRUE(figures["rendering"].is_null());
  EXPECT_EQ(expectRun(folder, {"-i", "dry.wav", "--ir", "ir.wav", "--check"}).err, "");
  expectUntouched();

  // What would be refused is refused already.
  EXPECT_EQ(
      run(folder, with({"--check"}, "dry.wav", "ir.wav", "none/wet.wav")).exitCode, 1);
  expectUntouched();
}

}  // namespace
}  // namespace ulmar::render
