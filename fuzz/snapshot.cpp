// Snapshots that were changed on their way: refused without a trace, or taken up by a
// stream that plays on within its memory. Each group of three bytes of the input
// changes one byte of a good snapshot; the first byte says of what stream, and how long
// it is.
#include <cmath>
#include <cstdlib>
#include <optional>

#include "fuzz/choices.h"
#include "ulmar/host/error.h"
#include "ulmar/host/stream.h"

namespace {

using namespace ulmar::host;

std::vector<float> played(Stream& stream, int outputs, int frames) {
  ulmar::Planar in(2, std::vector<float>(static_cast<std::size_t>(frames), 0.25F));
  ulmar::Planar out(static_cast<std::size_t>(outputs), in[0]);
  const float* const from[] = {in[0].data(), in[1].data()};
  std::vector<float*> to;
  for (auto& channel : out) to.push_back(channel.data());
  stream.process(from, to.data(), frames);
  return out[0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulmar::fuzz::Choices choices(data, size);
  const int kind = choices.below(4);
  const bool five = kind % 2 == 1;
  ulmar::test::Random random(1);
  Responses responses{2, five ? 5 : 2, five, {}};
  const int numSets = five ? 5 : 4;
  for (int set = 0; set < numSets; ++set)
    responses.samples.push_back(random.signal(300));
  StreamOptions options;
  options.blockLen = 16;
  options.tail = kind < 2 ? kTailOff : 64;
  options.dryDelay = 9;
  const StreamPlan plan(2, five ? 5 : 2, responses.shape(), options);
  Stream stream(plan, responses);
  played(stream, five ? 5 : 2, 333);

  const std::vector<std::byte> good = stream.snapshot();
  std::vector<std::byte> bytes = good;
  while (!choices.atEnd()) {
    const auto pos = static_cast<std::size_t>(choices.below(65536));
    bytes[pos % bytes.size()] = static_cast<std::byte>(choices.byte());
  }
  try {
    stream.restore(bytes);
  } catch (const ulmar::Error&) {
    if (stream.snapshot() != good) std::abort();
  }
  played(stream, five ? 5 : 2, 500);
  return 0;
}
