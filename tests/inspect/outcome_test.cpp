// What the inspector leaves behind: answers to odd responses, complete pictures, and
// nothing at all where it refuses.
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sstream>

#include "tests/inspect/responses.h"
#include "tests/support/pictures.h"

namespace ulmar::inspect {
namespace {

using render::Outcome;
using test::ScratchDir;

void write(const ScratchDir& folder, const char* name, int channels,
           const Signal& samples) {
  audio::writeAudio(folder / name, {.channels = channels, .sampleRate = kRate},
                    samples);
}

TEST(OddResponses, GetASensibleAnswer) {
  Signal clicks(20000);
  clicks[10000] = 1.0F;
  clicks[19999] = 1.0F;
  const std::pair<const char*, Signal> cases[] = {
      {"silence", Signal(1000)},
      {"one sample", {0.5F}},
      {"one step of the smallest kind", {1e-40F}},
      {"a constant", Signal(48000, 0.25F)},
      {"noise", test::Random(1).signal(3 * kRate)},
      {"two clicks", clicks},
  };
  for (const auto& [name, signal] : cases) {
    SCOPED_TRACE(name);
    const ScratchDir folder;
    write(folder, "ir.wav", 1, signal);
    std::vector<std::string> arguments = {"ir.wav"};
    if (test::kDrawsPictures) arguments.insert(arguments.end(), {"-o", "ir.svg"});
    const std::string text = render::expectRun(folder, arguments).out;
    for (const char* const word : {"nan", "inf", "NaN"}) {
      EXPECT_EQ(text.find(word), std::string::npos) << text;
    }
    if (test::kDrawsPictures) {
      EXPECT_GT(test::bytesOf(folder / "ir.svg").size(), 1000U);
    }
    const Json figures =
        Json::parse(render::expectRun(folder, {"ir.wav", "--json"}).out);
    const Json& channel = figures["channels"][0];
    EXPECT_EQ(channel["silent"], std::string(name) == "silence");
    // No decay is made up.
    if (!channel["silent"]) {
      EXPECT_TRUE(channel["broadband"]["t30"].is_null()) << channel;
    }
  }
}

/// All keys of an object, with those of what lies in it: "channels[].echo.gain".
void addKeys(const Json& json, const std::string& path, std::set<std::string>& keys) {
  if (json.is_array()) {
    for (const Json& item : json) addKeys(item, path + "[]", keys);
  } else if (json.is_object()) {
    for (const auto& [key, value] : json.items()) {
      const std::string inner =
          path.empty() ? key : std::string(path).append(".") + key;
      keys.insert(inner);
      addKeys(value, inner, keys);
    }
  }
}

/// The first word of each row of the page's table below a heading.
std::set<std::string> documentedKeys(const std::string& heading) {
  std::istringstream page(test::bytesOf(ULMAR_DOCS "/json.md"));
  std::set<std::string> keys;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("#")) inside = line == "## " + heading;
    if (!inside || !line.starts_with("| `")) continue;
    keys.insert(line.substr(3, line.find('`', 3) - 3));
  }
  return keys;
}

// Of both programs: every key is there, whatever the response, and none besides.
TEST(JsonPage, NamesEveryKey) {
  const ScratchDir folder;
  Signal echo = decayingNoise(0.5, 1.0, 3);
  for (std::size_t n = echo.size(); n-- > 600;) echo[n] += 0.6F * echo[n - 600];
  test::Random random(1);
  for (float& sample : echo) sample += 1e-4F * random.sample();
  Signal pair;
  for (const float sample : echo) pair.insert(pair.end(), {sample, 0.9F * sample});
  write(folder, "full.wav", 2, pair);
  write(folder, "silent.wav", 2, Signal(2000));
  std::set<std::string> keys;
  for (const char* const name : {"full.wav", "silent.wav"}) {
    addKeys(Json::parse(render::expectRun(folder, {name, "--json", "--thirds"}).out),
            "", keys);
  }
  EXPECT_EQ(keys, documentedKeys("ulmar-inspect"));
  write(folder, "DRY.wav", 8, Signal(8 * 500, 0.1F));
  std::set<std::string> rendererKeys;
  for (const char* const options :
       {"--save-response s.wav", "-i DRY.wav -o WET.wav --block 64 --tail-block 256"}) {
    const std::string command = "cd '" + (folder / "") +
                                "' && '" ULMAR_RENDERER "' --ir full.wav --json " +
                                options + " > r.json";
    ASSERT_EQ(std::system(command.c_str()), 0);
    addKeys(Json::parse(test::bytesOf(folder / "r.json")), "", rendererKeys);
  }
  EXPECT_EQ(rendererKeys, documentedKeys("ulmar-render"));
  const Json silent =
      Json::parse(render::expectRun(folder, {"silent.wav", "--json"}).out);
  EXPECT_TRUE(silent["mean"].is_null());
  EXPECT_TRUE(silent["channels"][0].at("echo").is_null());
}

// The mean of two channels, and the lines of a table of values.
TEST(SeveralChannels, HaveAMeanAndALineEach) {
  const ScratchDir folder;
  const std::vector<double> slow(7, 1.6);
  const std::vector<double> fast(7, 0.8);
  const Signal a = decayingTones(slow, 2.0);
  const Signal b = decayingTones(fast, 2.0);
  Signal pair;
  for (std::size_t n = 0; n < a.size(); ++n) pair.insert(pair.end(), {a[n], b[n]});
  write(folder, "two, \"odd\".wav", 2, pair);
  const Json mean = Json::parse(
      render::expectRun(folder, {"two, \"odd\".wav", "--json"}).out)["mean"];
  expectAbout(mean["reverberationTime"], 1.2, 0.02);
  expectAbout(mean["broadband"]["t30"]["seconds"], 1.2, 0.02);
  std::istringstream table(
      render::expectRun(folder, {"two, \"odd\".wav", "--csv"}).out);
  std::vector<std::string> lines;
  for (std::string line; std::getline(table, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 4U);
  const auto commas = [](const std::string& line) {
    return std::count(line.begin(), line.end(), ',');
  };
  for (std::size_t k = 1; k < 4; ++k) {
    EXPECT_TRUE(lines[k].starts_with("\"two, \"\"odd\"\".wav\",")) << lines[k];
    EXPECT_EQ(commas(lines[k]), commas(lines[0]) + 1) << lines[k];
  }
  EXPECT_NE(lines[3].find(",mean,"), std::string::npos);
}

TEST(Ambisonics, AreHintedAtWhereAllArrivesTogether) {
  const ScratchDir folder;
  const Signal noise = decayingNoise(0.5, 1.0, 3);
  for (const std::size_t late : {0U, 40U}) {
    Signal four;
    for (std::size_t n = 0; n < noise.size(); ++n) {
      const float later = n < late ? 0.0F : noise[n - late];
      four.insert(four.end(), {noise[n], 0.5F * noise[n], 0.3F * later, 0.2F * later});
    }
    write(folder, "four.wav", 4, four);
    const std::string text = render::expectRun(folder, {"four.wav"}).out;
    EXPECT_EQ(text.find("ambisonics") != text.npos, late == 0);
  }
  const std::string text =
      render::expectRun(folder, {"four.wav", "--bformat", "ambix"}).out;
  EXPECT_NE(text.find("--bformat ambix --"), std::string::npos) << text;
}

/// What a shell makes of a command's third word.
std::string thirdWordOf(const std::string& command) {
  const std::string script = "set -- " + command + "; printf %s \"$3\"";
  std::FILE* const shell = popen(script.c_str(), "r");
  std::string word;
  for (int letter = 0; (letter = std::fgetc(shell)) != EOF;) {
    word += static_cast<char>(letter);
  }
  EXPECT_EQ(pclose(shell), 0) << script;
  return word;
}

TEST(OddNames, LeaveACommandThatCanBePasted) {
  for (const std::string name :
       {"hall.wav", "great hall.wav", "it's \"here\".wav", "$HOME `id` & ~.wav",
        "~.wav", "h\xE4ll*.wav", "-i.wav"}) {
    SCOPED_TRACE(name);
    const ScratchDir folder;
    write(folder, name.c_str(), 1, {0.5F});
    const std::string text = render::expectRun(folder, {"--", name}).out;
    const std::size_t start = text.find("ulmar-render --ir ");
    ASSERT_NE(start, std::string::npos) << text;
    const std::string command = text.substr(start, text.find('\n', start) - start);
    EXPECT_EQ(thirdWordOf(command), name[0] == '-' ? "./" + name : name) << command;
  }
}

/// Whether the renderer takes a response.
bool renders(const ScratchDir& folder, const std::string& options) {
  const std::string command = "cd '" + (folder / "") + "' && '" ULMAR_RENDERER "' " +
                              options + " -i DRY.wav --check >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

TEST(Suggestions, AreWhatTheRendererTakesAndMissOnlyWhatItRefuses) {
  using enum audio::Speaker;
  std::vector<std::vector<audio::Speaker>> speakers = {
      {frontLeft, frontRight, lowFrequency, rearLeft, rearRight},
      {frontLeft, frontRight, frontCenter, rearLeft, rearRight, rearCenter},
      {frontLeft, frontRight, frontCenter, lowFrequency, sideLeft, sideRight}};
  for (std::size_t channels = 1; channels <= 12; ++channels) {
    speakers.emplace_back(channels);  // not stated
  }
  const ScratchDir folder;
  write(folder, "DRY.wav", 2, Signal(2));
  for (const auto& stated : speakers) {
    const auto channels = static_cast<int>(stated.size());
    audio::AudioFormat format = {.channels = channels, .sampleRate = kRate};
    if (stated[0] != unknown) format.speakers = stated;
    SCOPED_TRACE(std::to_string(channels) + " channels, " +
                 (format.speakers.empty() ? "not stated" : "stated"));
    audio::writeAudio(folder / "ir.wav", format, Signal(100 * stated.size(), 0.5F));
    const std::string text = render::expectRun(folder, {"ir.wav"}).out;
    const std::size_t start = text.find(" --ir ");
    if (start == std::string::npos) {
      EXPECT_FALSE(renders(folder, "--ir ir.wav")) << text;
    } else {
      EXPECT_TRUE(renders(folder, text.substr(start, text.find(" -i ") - start)))
          << text;
    }
  }
}

// The command cuts and fades to the frame what the figures suggest: up to where the
// slower of two channels sinks into its noise, at a rate that has no round times.
TEST(Suggestions, CutToTheFrame) {
  const ScratchDir folder;
  test::Random random(8);
  const Signal slow = decayingNoise(1.0, 2.0, 3);
  const Signal fast = decayingNoise(0.3, 2.0, 4);
  Signal pair(2 * 3001);
  for (std::size_t n = 0; n < slow.size(); ++n) {
    pair.push_back(slow[n] + 1e-4F * random.sample());
    pair.push_back(fast[n] + 1e-4F * random.sample());
  }
  audio::writeAudio(folder / "ir.wav", {.channels = 2, .sampleRate = 44100}, pair);
  audio::writeAudio(folder / "DRY.wav", {.channels = 2, .sampleRate = 44100},
                    {0.5F, 0.5F});
  const std::string text = render::expectRun(folder, {"ir.wav"}).out;
  const std::size_t start = text.find("--ir ");
  const std::string command =
      "cd '" + (folder / "") + "' && '" ULMAR_RENDERER "' --json --check " +
      text.substr(start, text.find('\n', start) - start) + " > r.json";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  const Json used = Json::parse(test::bytesOf(folder / "r.json"))["response"];
  const Json figures = Json::parse(render::expectRun(folder, {"ir.wav", "--json"}).out);
  const Json& suggestions = figures["suggestions"];
  EXPECT_EQ(used["startFrame"], suggestions["startFrame"]);
  EXPECT_EQ(used["usedFrames"], suggestions["frames"]);
  EXPECT_EQ(used["fadeFrames"], suggestions["fadeFrames"]);
  EXPECT_GT(suggestions["fadeFrames"], 0);
  double latest = 0.0;
  for (const Json& channel : figures["channels"]) {
    latest = std::max(latest, channel["noiseFloor"]["fromSeconds"].get<double>());
  }
  const double end =
      suggestions["startFrame"].get<double>() + suggestions["frames"].get<double>();
  expectAbout(end / 44100.0, latest, 1e-4);
}

std::uint32_t bigEndian(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    value = value << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return value;
}

bool endsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Every element that is opened is closed, in order.
void expectWellFormed(const std::string& xml) {
  std::vector<std::string> open;
  std::size_t at = xml.find("<svg");
  ASSERT_NE(at, std::string::npos);
  for (; at != std::string::npos; at = xml.find('<', at + 1)) {
    const std::size_t end = xml.find('>', at);
    ASSERT_NE(end, std::string::npos);
    const std::string tag = xml.substr(at + 1, end - at - 1);
    const std::string name = tag.substr(0, tag.find_first_of(" \n/", 1));
    if (tag[0] == '/') {
      ASSERT_FALSE(open.empty());
      ASSERT_EQ(tag.substr(1), open.back());
      open.pop_back();
    } else if (tag.back() != '/') {
      open.push_back(name);
    }
  }
  EXPECT_TRUE(open.empty());
}

TEST(Pictures, AreComplete) {
  ULMAR_NEEDS_PICTURES();
  const ScratchDir folder;
  // Not UTF-8, which cairo must not see.
  const std::string name = "h\xE4ll.wav";
  write(folder, name.c_str(), 2, decayingNoise(0.5, 1.0, 1));
  const std::string text = render::expectRun(folder, {name}).out;
  for (const char* const picture : {"a.png", "a.PNG", "a.svg", "a.pdf"}) {
    SCOPED_TRACE(picture);
    EXPECT_EQ(render::expectRun(folder, {name, "-o", picture}).out, text);
  }
  EXPECT_EQ(folder.names().size(), 5U);
  const std::string png = test::bytesOf(folder / "a.png");
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1A\n");
  EXPECT_EQ(bigEndian(png, 16), 1200U);
  EXPECT_GT(bigEndian(png, 20), 1000U);
  EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");
  expectWellFormed(test::bytesOf(folder / "a.svg"));
  const std::string pdf = test::bytesOf(folder / "a.pdf");
  EXPECT_EQ(pdf.substr(0, 5), "%PDF-");
  EXPECT_TRUE(endsWith(pdf, "%%EOF\n"));
}

class Refusals : public testing::Test {
 protected:
  Refusals() {
    write(folder, "ir.wav", 2, {0.5F, 0.5F, 0.25F, 0.25F});
    write(folder, "many.wav", 17, Signal(17, 0.5F));
    write(folder, "nan.wav", 1, {0.5F, 0.5F});
    std::string bytes = test::bytesOf(folder / "nan.wav");
    const float nan = std::numeric_limits<float>::quiet_NaN();
    bytes.replace(bytes.size() - sizeof nan, sizeof nan,
                  reinterpret_cast<const char*>(&nan), sizeof nan);
    test::writeBytes(folder / "nan.wav", bytes);
    test::writeBytes(folder / "old.svg", kOld);
    std::filesystem::create_directory(folder / "folder.svg");
    std::filesystem::create_symlink(folder / "ir.wav", folder / "link.svg");
    names_ = folder.names();
  }

  void expectRefusal(const Outcome& outcome, int exitCode,
                     const std::vector<std::string>& parts) const {
    EXPECT_EQ(outcome.exitCode, exitCode);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("ulmar-inspect: ", 0), 0U) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n') + 1, outcome.err.size()) << outcome.err;
    for (const std::string& part : parts) {
      EXPECT_NE(outcome.err.find(part), std::string::npos)
          << '"' << part << "\" is not in: " << outcome.err;
    }
    EXPECT_EQ(test::bytesOf(folder / "old.svg"), kOld);
    EXPECT_EQ(folder.names(), names_);
  }

  static constexpr const char* kOld = "an older picture";
  ScratchDir folder;

 private:
  std::set<std::string> names_;
};

TEST_F(Refusals, SayInOneSentenceWhatIsWrongAndTouchNothing) {
  const struct {
    std::vector<std::string> arguments;
    std::vector<std::string> parts;
    int exitCode = 1;
  } cases[] = {
      {{"none.wav", "-o", "old.svg"}, {"none.wav", "No such file"}},
      {{"nan.wav", "-o", "old.svg"}, {"nan.wav", "nan", "frame 1"}},
      {{"many.wav", "-o", "old.svg"}, {"many.wav", "17 channels", "16"}},
      {{"ir.wav", "-o", "ir.jpg"}, {"ir.jpg", "'.jpg'", ".svg, .png or .pdf"}},
      {{"ir.wav", "-o", "picture"}, {"picture", "''", ".svg, .png or .pdf"}},
      {{"ir.wav", "-o", "none/ir.svg"}, {"none/ir.svg", "No such file"}},
      {{"ir.wav", "-o", "folder.svg"}, {"folder.svg", "folder"}},
      {{"ir.wav", "-o", "link.svg"}, {"link.svg", "ir.wav", "replaced"}},
      {{"ir.wav", "-o"}, {"-o", "value"}, 2},
      {{"ir.wav", "--loud"}, {"--loud"}, 2},
      {{"ir.wav", "ir.wav", "-o", "old.svg"}, {"-o", "there are 2"}, 2},
      {{"ir.wav", "--json", "--csv"}, {"--json", "--csv"}, 2},
      {{"ir.wav", "--bformat", "uhj"}, {"--bformat", "'uhj'", "fuma or ambix"}, 2},
      {{"ir.wav", "--bformat", "ambix"}, {"ir.wav", "2 channels", "4 or 8"}},
      {{"-o", "old.svg"}, {"FILE"}, 2},
  };
  for (const auto& [arguments, parts, exitCode] : cases) {
    std::string call;
    for (const auto& argument : arguments) call += ' ' + argument;
    SCOPED_TRACE(call);
    // Without cairo a name that could be drawn to is what is refused first.
    const std::string& last = arguments.back();
    const bool draws =
        arguments.size() == 3 && (last == "old.svg" || last == "link.svg");
    if (draws && !test::kDrawsPictures) {
      expectRefusal(render::run(folder, arguments), 1, {last, "without cairo"});
    } else {
      expectRefusal(render::run(folder, arguments), exitCode, parts);
    }
  }
}

// What can be measured of several files is, in the order given.
TEST_F(Refusals, LeaveTheOtherFilesMeasured) {
  for (const char* const how : {"", "--csv", "--json"}) {
    std::vector<std::string> arguments = {"ir.wav", "none.wav", "ir.wav", "nan.wav"};
    if (*how != '\0') arguments.emplace_back(how);
    const Outcome outcome = render::run(folder, arguments);
    EXPECT_EQ(outcome.exitCode, 1);
    for (const char* const part : {"2 of 4", "none.wav", "nan.wav", "frame 1"}) {
      EXPECT_NE(outcome.err.find(part), std::string::npos) << outcome.err;
    }
    const std::size_t first = outcome.out.find("ir.wav");
    EXPECT_NE(outcome.out.find("ir.wav", first + 1), std::string::npos) << outcome.out;
  }
}

TEST_F(Refusals, AFullDiskLosesNothing) {
  ULMAR_NEEDS_PICTURES();
  for (const char* const name : {"new.svg", "new.png", "new.pdf", "old.svg"}) {
    SCOPED_TRACE(name);
    expectRefusal(render::Program(folder, {"ir.wav", "-o", name}, 3000).wait(), 1,
                  {name, "File too large"});
  }
}

TEST_F(Refusals, AReportThatNobodyTakesIsAFailure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  for (const auto& arguments :
       {std::vector<std::string>{"ir.wav"}, {"ir.wav", "--json"}}) {
    expectRefusal(render::runIntoFullDevice(folder, arguments), 1, {"standard output"});
  }
}

TEST_F(Refusals, HelpAndVersionAreNone) {
  const std::string help = render::expectRun(folder, {"--help"}).out;
  for (const char* const option : {"FILE", "--output", "--json", ".svg", ".png"}) {
    EXPECT_NE(help.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(render::expectRun(folder, {"--version"}).out.rfind("ulmar-inspect ", 0),
            0U);
}

}  // namespace
}  // namespace ulmar::inspect
