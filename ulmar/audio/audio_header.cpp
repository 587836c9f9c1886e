// Layouts: RIFF/WAVE (IBM and Microsoft 1991), RF64 (EBU Tech 3306), AIFF/AIFC (Apple
// 1989), FLAC (RFC 9639), Ogg (RFC 3533), AU (Sun 1992), CAF (Apple 2005), Wave64
// (Sonic Foundry 1998).
#include "ulmar/audio/audio_header.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace ulmar::audio {
namespace {

enum class ByteOrder { little, big };

// Bytes of the file at one position; bytes beyond the end read as zero.
template <std::size_t numBytes>
class Bytes {
 public:
  Bytes(ByteSource& source, std::int64_t pos)
      : complete_(source.read(pos, bytes_.data(), numBytes) == numBytes) {}

  bool complete() const { return complete_; }

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
  bool complete_;
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
bool isLeftOpen(std::uint64_t len, std::uint64_t containerLen, std::uint64_t present,
                std::uint64_t fileBytes) {
  if (isPlaceholder(len)) return true;
  const bool containerAgrees =
      !isPlaceholder(containerLen) && containerLen + 8 >= fileBytes;
  return len == 0 && present > 0 && !containerAgrees;
}

// Shows a length that lets libsndfile take all audio up to the end of the file. In
// RIFF, with 32 bits, that is what it has for a file of a program that crashed: a
// container of 8 bytes, and audio of none.
void showOpenLength(ByteSource& source, std::string_view container,
                    std::int64_t lenPos) {
  using namespace std::string_view_literals;
  constexpr std::int64_t kLongLenPos = 28;  // of the audio, in RF64
  if (container == "RF64") {
    source.replace(kLongLenPos, "\0\0\0\0\0\0\0\x40"sv);
  } else if (container == "FORM") {
    source.replace(lenPos, "\xFF\xFF\xFF\xFF"sv);
  } else {
    source.replace(4, container == "RIFX" ? "\0\0\0\x08"sv : "\x08\0\0\0"sv);
    source.replace(lenPos, "\0\0\0\0"sv);
  }
}

// Walks the chunks of RIFF, RIFX, RF64 and FORM files. Those of a file have different
// jobs, and there are some tens at most; what a crash leaves behind may be read as
// millions of empty ones.
AudioHeader readChunks(ByteSource& source, std::string_view container) {
  constexpr int kMaxChunks = 1000;
  const ByteOrder order =
      container == "FORM" || container == "RIFX" ? ByteOrder::big : ByteOrder::little;
  const std::int64_t fileBytes = source.size();
  AudioHeader header;
  std::uint64_t containerLen = Bytes<12>(source, 0).number(4, 4, order);
  std::optional<std::uint64_t> longLen;  // of the audio
  std::int64_t end = 12;                 // of the last whole chunk
  for (int i = 0; i < kMaxChunks && fileBytes - end >= 8; ++i) {
    const Bytes<8> chunk(source, end);
    const std::string_view id = chunk.text(0, 4);
    std::uint64_t len = chunk.number(4, 4, order);
    const std::int64_t start = end + 8;
    const auto present = static_cast<std::uint64_t>(fileBytes - start);
    const bool isAudio = (id == "data" || id == "SSND") && !header.statedBytes;
    if (isAudio) {
      if (len == std::numeric_limits<std::uint32_t>::max()) len = longLen.value_or(len);
      // An offset and a block size stand before AIFF's samples.
      const std::int64_t before = id == "SSND" ? 8 : 0;
      header.presentBytes = std::max<std::int64_t>(fileBytes - start - before, 0);
      if (isLeftOpen(len, containerLen, present,
                     static_cast<std::uint64_t>(fileBytes))) {
        showOpenLength(source, container, start - 4);
        return header;
      }
      header.statedBytes =
          std::max<std::int64_t>(static_cast<std::int64_t>(len) - before, 0);
      if (header.isCutShort()) return header;
    } else if (id == "ds64") {
      // In RF64 the lengths have 64 bits and a chunk of their own.
      const Bytes<16> lens(source, start);
      containerLen = lens.number(0, 8, order);
      longLen = lens.number(8, 8, order);
    } else if (id == "fmt ") {
      header.sampleRate =
          static_cast<double>(Bytes<8>(source, start).number(4, 4, order));
    } else if (id == "COMM") {
      header.sampleRate = extendedNumber(Bytes<18>(source, start));
    }
    if (len > present) break;
    // A chunk of odd length is followed by a byte that its length does not count.
    end = std::min(start + static_cast<std::int64_t>(len + (len & 1)), fileBytes);
  }
  source.hideFrom(end);
  return header;
}

// FLAC states its rate in 20 bits of the block that comes first; its length is in
// frames and shows only in decoding whether the file holds it.
AudioHeader readFlacHeader(ByteSource& source) {
  AudioHeader header;
  const Bytes<3> rate(source, 18);
  if (rate.complete()) {
    header.sampleRate = static_cast<double>(rate.number(0, 3, ByteOrder::big) >> 4);
  }
  return header;
}

// The samples' length and where they begin, if the length is one.
AudioHeader headerOf(const ByteSource& source, std::int64_t start, std::uint64_t len) {
  AudioHeader header;
  header.presentBytes = std::max<std::int64_t>(source.size() - start, 0);
  if (!isPlaceholder(len)) header.statedBytes = static_cast<std::int64_t>(len);
  return header;
}

AudioHeader readAuHeader(ByteSource& source, ByteOrder order) {
  const Bytes<12> head(source, 0);
  return headerOf(source, static_cast<std::int64_t>(head.number(4, 4, order)),
                  head.number(8, 4, order));
}

std::string bigEndian(std::uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> shift & 0xFF);
  }
  return bytes;
}

// How the chunks of a container are written: a name whose first four bytes tell it, a
// length of 64 bits that counts `counted` bytes before the content, and content that
// begins with `before` bytes if it is audio and is filled up to whole `unit`s.
struct LongChunks {
  std::int64_t first;  // position
  std::size_t nameLen;
  std::uint64_t counted;
  std::uint64_t before;
  std::uint64_t unit;
  ByteOrder order;
};
constexpr LongChunks kWave64 = {40, 16, 24, 0, 8, ByteOrder::little};
constexpr LongChunks kCaf = {8, 4, 0, 4, 1, ByteOrder::big};

AudioHeader readLongChunks(ByteSource& source, const LongChunks& form) {
  constexpr int kMaxChunks = 1000;
  std::int64_t pos = form.first;
  for (int i = 0; i < kMaxChunks && pos < source.size(); ++i) {
    const Bytes<24> chunk(source, pos);
    const std::int64_t start = pos + static_cast<std::int64_t>(form.nameLen) + 8;
    const std::uint64_t stated = chunk.number(form.nameLen, 8, form.order);
    const std::uint64_t len = stated - form.counted;
    if (chunk.text(0, 4) == "data") {
      const AudioHeader header =
          headerOf(source, start + static_cast<std::int64_t>(form.before),
                   isPlaceholder(stated) ? stated : len - form.before);
      // libsndfile takes no CAF file that lacks much of its audio, so it is told less.
      if (header.isCutShort() && form.order == ByteOrder::big) {
        source.replace(
            pos + 4,
            bigEndian(form.before + static_cast<std::uint64_t>(header.presentBytes)));
      }
      return header;
    }
    if (stated < form.counted || len > static_cast<std::uint64_t>(source.size())) break;
    pos = start +
          static_cast<std::int64_t>((len + form.unit - 1) / form.unit * form.unit);
  }
  return {};
}

// The last page of a stream is marked; one that is cut in its midst is none.
AudioHeader readOggPages(ByteSource& source) {
  constexpr std::size_t kMostPage = 27 + 255 + 255 * 255;  // bytes
  constexpr std::size_t kHead = 27;
  constexpr unsigned kEndOfStream = 4;
  std::vector<unsigned char> bytes(kMostPage);
  const std::int64_t start =
      std::max<std::int64_t>(source.size() - static_cast<std::int64_t>(kMostPage), 0);
  bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(
      source.read(start, bytes.data(), static_cast<std::int64_t>(kMostPage)), 0)));
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()),
                              bytes.size());
  AudioHeader header;
  const std::size_t page = text.rfind(std::string_view("OggS\0", 5));
  if (page == std::string_view::npos) return header;
  std::size_t end = page + kHead;
  if (end < bytes.size()) {
    const std::size_t numSegments = bytes[page + kHead - 1];
    end += numSegments;
    for (std::size_t k = page + kHead; k < page + kHead + numSegments; ++k) {
      if (k < bytes.size()) end += bytes[k];
    }
  }
  header.lacksLastPage = end > bytes.size() || (bytes[page + 5] & kEndOfStream) == 0;
  return header;
}

// MP3, behind a tag of ID3v2 if there is one: the first frame of audio may be a count
// of all, under one of three names.
AudioHeader readMp3Header(ByteSource& source) {
  std::int64_t pos = 0;
  const Bytes<10> tag(source, 0);
  if (tag.text(0, 3) == "ID3") {
    pos = 10;
    for (std::size_t k = 6; k < 10; ++k) {
      pos += static_cast<std::int64_t>(tag.number(k, 1, ByteOrder::big))
             << (7 * (9 - k));
    }
  }
  const Bytes<64> frame(source, pos);
  const std::string_view text = frame.text(0, 64);
  AudioHeader header;
  for (const char* const name : {"Xing", "Info", "VBRI"}) {
    header.statesFrames |= text.find(name) != std::string_view::npos;
  }
  return header;
}

}  // namespace

AudioHeader readAudioHeader(ByteSource& source) {
  const Bytes<12> start(source, 0);
  const std::string_view container = start.text(0, 4);
  const std::string_view form = start.text(8, 4);
  if (container == "fLaC") return readFlacHeader(source);
  if (container == ".snd") return readAuHeader(source, ByteOrder::big);
  if (container == "dns.") return readAuHeader(source, ByteOrder::little);
  if (container == "caff") return readLongChunks(source, kCaf);
  if (container == "riff") return readLongChunks(source, kWave64);
  if (container == "OggS") return readOggPages(source);
  const bool isWav = form == "WAVE" && (container == "RIFF" || container == "RIFX" ||
                                        container == "RF64");
  const bool isAiff = container == "FORM" && (form == "AIFF" || form == "AIFC");
  return isWav || isAiff ? readChunks(source, container) : readMp3Header(source);
}

}  // namespace ulmar::audio
