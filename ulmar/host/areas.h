// The 13 memory areas of an engine and its driver: their sizes, and an owner.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ulmar/process/host_records.h"

namespace ulmar::host {

/// The areas in the order of ExternStruct.
enum class Area {
  fftTwiddles,
  fftBitRev,
  fftWork,
  inBlocks,
  outBlocks,
  dryRings,
  rearRings,
  histMem,
  accMem,
  outMem,
  fwdSpectrum,
  dcSave,
  irSets,
};
inline constexpr int kNumAreas = 13;
inline constexpr std::array<Area, kNumAreas> kAllAreas = {
    Area::fftTwiddles, Area::fftBitRev, Area::fftWork, Area::inBlocks, Area::outBlocks,
    Area::dryRings,    Area::rearRings, Area::histMem, Area::accMem,   Area::outMem,
    Area::fwdSpectrum, Area::dcSave,    Area::irSets};

/// The entry of an area in the library's table.
ExternStruct::Area& entry(ExternStruct& ext, Area area);

/// Bytes of each area, without slack.
struct AreaSizes {
  std::array<std::int64_t, kNumAreas> bytes{};

  std::int64_t operator[](Area area) const {
    return bytes[static_cast<std::size_t>(area)];
  }
  std::int64_t& operator[](Area area) { return bytes[static_cast<std::size_t>(area)]; }
  std::int64_t total() const;
};

/// Exactly what a stream with these parameters uses, when it is called with so many
/// input and output channels. With irLen at or below 0 the engine's areas are empty.
/// params is trusted to be valid, see checkParams.
AreaSizes areaSizes(const ParamStruct& params, int inChannels, int outChannels);

/// Partition set `index` starts at this many bytes into Area::irSets.
std::int64_t setOffset(const ParamStruct& params, int index);

/// Owns the areas of one engine or more, each on a 64-byte boundary and zero-filled, in
/// one allocation.
class Areas {
 public:
  /// sizes: of each engine. Throws Error if the memory is more than the machine gives,
  /// naming the amount.
  explicit Areas(const std::vector<AreaSizes>& sizes);

  /// Bytes that areas of these sizes take, with the padding between them.
  static std::int64_t bytesFor(const std::vector<AreaSizes>& sizes);

  std::byte* at(std::size_t engine, Area area) const {
    return memory_.get() + offsets_[engine][static_cast<std::size_t>(area)];
  }
  std::byte* operator[](Area area) const { return at(0, area); }

  const std::vector<AreaSizes>& sizes() const { return sizes_; }

  /// Bytes held, with the padding between areas.
  std::int64_t bytes() const { return bytes_; }

  void zero(std::size_t engine, Area area);

  /// The library's table of the first engine's areas.
  ExternStruct table() const;
  /// Enters the addresses of an engine's areas, other than those of no size, into the
  /// library's table.
  void enterInto(ExternStruct& ext, std::size_t engine) const;

 private:
  struct Free {
    void operator()(std::byte* memory) const;
  };

  std::vector<AreaSizes> sizes_;
  std::vector<std::array<std::int64_t, kNumAreas>> offsets_;
  std::int64_t bytes_ = 0;
  std::unique_ptr<std::byte, Free> memory_;
};

}  // namespace ulmar::host
