// Layouts: RIFF/WAVE (IBM and Microsoft 1991), RF64 (EBU Tech 3306), AIFF/AIFC (Apple
// 1989), FLAC (RFC 9639).
#include "ulmar/audio/audio_header.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <limits>
#include <string_view>

namespace ulmar::audio {
namespace {

enum class ByteOrder { little, big };

// Bytes of the file at one position; bytes beyond the end read as zero.
template <std::size_t numBytes>
class Bytes {
 public:
  Bytes(int fd, std::int64_t pos) : given_(pread(fd, bytes_.data(), numBytes, pos)) {}

  bool complete() const { return given_ == static_cast<ssize_t>(numBytes); }

  std::string_view text(std::size_t offset, std::size_t len) const {
    return {reinterpret_cast<const char*>(bytes_.data()) + offset, len};
  }

  std::uint64_t number(std::size_t offset, std::size_t len, ByteOrder order) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < len; ++i) {
      value = value << 8 | bytes_[offset + (order == ByteOrder::big ? i : len - 1 - i)];
    }
    return value;
  }

 private:
  std::array<unsigned char, numBytes> bytes_{};
  ssize_t given_;
};

// Programs that write to a pipe leave a placeholder for the length, which they cannot
// know in time: the largest number of 64, 32 or 31 bits, or 0x7F000000 in AIFF, where
// the 8 bytes before the samples may count too. Any may be rounded down to whole
// frames.
bool isPlaceholder(std::uint64_t len) {
  return len > std::numeric_limits<std::int64_t>::max() ||
         (len >= 0xFFFF'0000 && len <= 0xFFFF'FFFF) ||
         (len >= 0x7FFF'0000 && len <= 0x8000'0000) ||
         (len >= 0x7EFF'0000 && len <= 0x7F00'0008);
}

// The 80-bit extended number of AIFF's COMM chunk.
double extendedNumber(const Bytes<18>& comm) {
  constexpr int kExponentBias = 16383;
  constexpr int kMantissaBits = 63;
  const int exponent = static_cast<int>(comm.number(8, 2, ByteOrder::big) & 0x7FFF);
  const auto mantissa = static_cast<double>(comm.number(10, 8, ByteOrder::big));
  return std::ldexp(mantissa, exponent - kExponentBias - kMantissaBits);
}

// A length of zero can mean an empty chunk, or a writer that never went back to fill
// the length in. The container's length decides, which stands at the start of the file:
// if it covers the whole file, the header was completed and the chunk is empty.
void noteAudioChunk(AudioHeader& header, std::int64_t start, std::int64_t fileBytes,
                    std::uint64_t len, std::uint64_t containerLen) {
  header.lengthPos = start - 4;
  header.presentBytes = fileBytes - start;
  header.statedBytes = static_cast<std::int64_t>(len);
  const bool containerAgrees = !isPlaceholder(containerLen) &&
                               static_cast<std::int64_t>(containerLen) + 8 >= fileBytes;
  if (isPlaceholder(len)) {
    header.length = AudioHeader::Length::placeholder;
  } else if (len == 0 && header.presentBytes > 0 && !containerAgrees) {
    header.length = AudioHeader::Length::leftAtZero;
  } else {
    header.length = AudioHeader::Length::stated;
  }
}

// Walks the chunks of RIFF, RIFX, RF64 and FORM files up to the audio.
AudioHeader readChunks(int fd, std::int64_t fileBytes, ByteOrder order) {
  AudioHeader header;
  std::uint64_t containerLen = Bytes<12>(fd, 0).number(4, 4, order);
  std::optional<std::uint64_t> longLen;  // of the audio
  std::int64_t pos = 12;
  while (pos + 8 <= fileBytes) {
    const Bytes<8> chunk(fd, pos);
    const std::string_view id = chunk.text(0, 4);
    const std::uint64_t len = chunk.number(4, 4, order);
    const std::int64_t start = pos + 8;
    // In RF64 the lengths have 64 bits and a chunk of their own.
    if (id == "ds64") {
      const Bytes<16> lens(fd, start);
      containerLen = lens.number(0, 8, order);
      longLen = lens.number(8, 8, order);
    } else if (id == "fmt ") {
      header.sampleRate = static_cast<double>(Bytes<8>(fd, start).number(4, 4, order));
    } else if (id == "COMM") {
      header.sampleRate = extendedNumber(Bytes<18>(fd, start));
    } else if (id == "data" || id == "SSND") {
      noteAudioChunk(header, start, fileBytes, longLen.value_or(len), containerLen);
      break;
    }
    pos = start + static_cast<std::int64_t>(len + (len & 1));
  }
  return header;
}

// FLAC states its rate in 20 bits of the block that comes first; its length is in
// frames and shows only in decoding whether the file holds it.
AudioHeader readFlacHeader(int fd) {
  AudioHeader header;
  const Bytes<3> rate(fd, 18);
  if (rate.complete()) {
    header.sampleRate = static_cast<double>(rate.number(0, 3, ByteOrder::big) >> 4);
  }
  return header;
}

}  // namespace

AudioHeader readAudioHeader(int fd, std::int64_t fileBytes) {
  const Bytes<12> start(fd, 0);
  const std::string_view container = start.text(0, 4);
  const std::string_view form = start.text(8, 4);
  if (container == "fLaC") return readFlacHeader(fd);
  if (form == "WAVE" && (container == "RIFF" || container == "RF64")) {
    return readChunks(fd, fileBytes, ByteOrder::little);
  }
  if (form == "WAVE" && container == "RIFX")
    return readChunks(fd, fileBytes, ByteOrder::big);
  if (container == "FORM" && (form == "AIFF" || form == "AIFC")) {
    return readChunks(fd, fileBytes, ByteOrder::big);
  }
  return {};
}

}  // namespace ulmar::audio
