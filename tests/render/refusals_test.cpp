// What is refused, how that is said, and that nothing is lost by it.
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>

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
    spoil("huge.wav", 3, -1e30F);
    test::writeBytes(folder / "wet.wav", kOldOutput);
    std::filesystem::create_directory(folder / "folder.wav");
    mkfifo((folder / "pipe.wav").c_str(), 0600);
    std::filesystem::create_hard_link(folder / "dry.wav", folder / "link.wav");
    names_ = folder.names();
  }

  // The older output as it was, and nothing beside the files that were there.
  void expectUntouched() const {
    EXPECT_TRUE(test::bytesOf(folder / "wet.wav") == kOldOutput);
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

// The calls of refusals.txt.
std::vector<Refusal> refusals() {
  std::ifstream file(ULMAR_REFUSALS);
  std::vector<Refusal> all;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.starts_with('#')) continue;
    std::vector<std::string> fields;
    for (std::size_t end = 0; end != line.npos; line.erase(0, end + 3)) {
      end = line.find(" | ");
      fields.push_back(line.substr(0, end));
      if (end == line.npos) break;
    }
    all.push_back({words(fields.at(0)),
                   {fields.begin() + 2, fields.end()},
                   std::stoi(fields.at(1))});
  }
  return all;
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
  const std::vector<Refusal> all = refusals();
  ASSERT_GT(all.size(), 50U);
  for (const Refusal& refusal : all) {
    SCOPED_TRACE(testing::PrintToString(refusal.arguments));
    expectRefusal(run(folder, refusal.arguments), refusal);
    expectUntouched();
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

// A reader that has enough, and a call that asks for silence.
TEST_F(Refusals, AReportThatNobodyWantsIsNoFailure) {
  for (const std::string options : {"--help", "--check -i dry.wav --ir ir.wav"}) {
    const std::string call = "cd '" + (folder / "") + "'; { '" + ULMAR_PROGRAM "' " +
                             options + " 2>err; echo $? >code; } | true";
    for (int times = 0; times < 20; ++times) {
      ASSERT_EQ(std::system(call.c_str()), 0);
      ASSERT_EQ(test::bytesOf(folder / "code"), "0\n");
      ASSERT_EQ(test::bytesOf(folder / "err"), "");
    }
  }
  const Outcome quiet = expectRun(folder, with({"--quiet", "--wet", "-6dB"}));
  EXPECT_EQ(quiet.out + quiet.err, "");
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
