// A host without the kit's stream: the library's records and all 13 areas in its hands.
#pragma once

#include <algorithm>
#include <vector>

#include "ulmar/base/align.h"
#include "ulmar/host/partition_sets.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::test {

class BareHost {
 public:
  BareHost(const ParamStruct& params_, int in, int out)
      : params(params_),
        inChannels(in),
        outChannels(out),
        areas({host::areaSizes(params, in, out)}),
        ext(areas.table()) {}

  /// Takes tables and sets from the kit.
  void buildSets(const host::Responses& responses) {
    const auto sets = host::buildPartitionSets(
        host::StreamPlan(inChannels, outChannels, params), responses);
    for (const host::Area area :
         {host::Area::fftTwiddles, host::Area::fftBitRev, host::Area::irSets}) {
      std::copy_n(sets->areas()[area], sets->areas().sizes()[0][area], areas[area]);
    }
  }

  HostLong call(OstinSoundBuf* in, OstinSoundBuf* out, int frames) {
    HostLong done = -1;
    UlmarProc(in, inChannels, frames, out, outChannels, &done, asRecords<char>(&params),
              asRecords<char>(&state), &ext);
    return done;
  }

  ParamStruct params;
  StateStruct state{};
  int inChannels;
  int outChannels;
  host::Areas areas;
  ExternStruct ext;
};

}  // namespace ulmar::test
