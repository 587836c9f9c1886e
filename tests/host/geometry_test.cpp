// The choice of a geometry, its cost and its refusals, and those of a stream.
#include "ulmar/host/geometry.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "ulmar/host/error.h"
#include "ulmar/host/stream.h"

namespace ulmar::host {
namespace {

TEST(Geometry, IsAdmissibleAndCostsEveryPartitionOnce) {
  for (int blockLen = kMinBlockLen; blockLen <= 1 << 14; blockLen *= 2) {
    for (const int numBlocks : {1, 2, 3, 4, 7, 11, 12, 33, 119, 120, 188, 1001}) {
      for (const int irLen : {(numBlocks - 1) * blockLen + 1, numBlocks * blockLen}) {
        const Geometry geometry = chooseGeometry(blockLen, irLen);
        SCOPED_TRACE(testing::Message()
                     << "blocks of " << blockLen << ", " << irLen << " samples, "
                     << geometry.numSegments << " x " << geometry.chunksPerSegment);
        ASSERT_NO_THROW(checkGeometry(geometry));
        if (blockLen >= kMinTruncatedBlockLen) {
          const Geometry truncated = chooseGeometry(blockLen, irLen, true);
          ASSERT_NO_THROW(checkGeometry(truncated));
          ASSERT_LE(blockCost(truncated).total(), blockCost(geometry).total());
        }
        // A direct sum takes every partition in every row; fewer partitions than chunks
        // leave the low tier some that are zero.
        const std::int64_t direct = std::int64_t{blockLen / 4} * numBlocks;
        if (numBlocks > geometry.numSegments * geometry.chunksPerSegment) {
          ASSERT_EQ(blockCost(geometry).total(), direct);
        } else {
          ASSERT_GE(blockCost(geometry).total(), direct);
        }
      }
    }
  }
}

TEST(Geometry, SharesTheCostAmongTheTiers) {
  Geometry geometry{512, 96000, 4, 4, false};
  EXPECT_EQ(blockCost(geometry).low, 320);
  EXPECT_EQ(blockCost(geometry).mid, 768);
  EXPECT_EQ(blockCost(geometry).high, 22976);
  geometry.hfTruncate = true;
  EXPECT_EQ(blockCost(geometry).high, 12992);
}

TEST(Geometry, AndStreamsRefuseWithASentence) {
  const Responses response{1, 1, true, {std::vector<float>(600, 0.1F)}};
  const auto streamWith = [&](const std::function<void(ParamStruct&)>& change) {
    ParamStruct params = streamParams(response, {});
    change(params);
    Stream(1, 1, params, response);
  };
  Responses notFinite = response;
  notFinite.samples[0][7] = std::numeric_limits<float>::infinity();

  struct Case {
    const char* value;  // in the sentence
    std::function<void()> refused;
  };
  const Case cases[] = {
      {"100", [] { chooseGeometry(100, 1000); }},
      {"2 samples", [] { chooseGeometry(2, 1000); }},
      {"262144", [] { chooseGeometry(1 << 18, 1000); }},
      {"0 samples", [] { chooseGeometry(512, 0); }},
      {"4 samples", [] { chooseGeometry(4, 1000, true); }},
      {"segments is 3",
       [] {
         checkGeometry({512, 96000, 3, 4, false});
       }},
      {"256 chunks",
       [] {
         checkGeometry({512, 960000, 16, 16, false});
       }},
      {"too few for 16",
       [] {
         checkGeometry({512, 2000, 1, 16, false});
       }},
      {"1 input and 3", [&] { Stream(1, 3, streamParams(response, {}), response); }},
      {"for 1 > 1 channels, and the stream's engine has 1 > 2",
       [&] { streamWith([](ParamStruct& p) { p.numOutputs = 2; }); }},
      {"engine has 2 > 1",
       [&] { streamWith([](ParamStruct& p) { p.numInputs = 2; }); }},
      {"one per output, and the stream's engine takes one per pair",
       [&] { streamWith([](ParamStruct& p) { p.perOutputIR = 0; }); }},
      {"-1 frames",
       [&] {
         float sample = 0.0F;
         Stream(1, 1, streamParams(response, {}), response)
             .processInterleaved(&sample, &sample, -1);
       }},
      {"inputs is 4", [&] { streamWith([](ParamStruct& p) { p.numInputs = 4; }); }},
      {"length is 48", [&] { streamWith([](ParamStruct& p) { p.dryRingLen = 48; }); }},
      {"delay is -1", [&] { streamWith([](ParamStruct& p) { p.dryDelay = -1; }); }},
      {"gain is nan",
       [&] {
         streamWith([](ParamStruct& p) {
           p.dryGain = std::numeric_limits<float>::quiet_NaN();
         });
       }},
      {"holds 512", [&] { streamWith([](ParamStruct& p) { p.irLen = 512; }); }},
      {"inf at sample 7",
       [&] { Stream(1, 1, streamParams(notFinite, {}), notFinite); }},
  };
  for (const Case& testCase : cases) {
    try {
      testCase.refused();
      ADD_FAILURE() << "accepted: " << testCase.value;
    } catch (const Error& error) {
      EXPECT_NE(std::string(error.what()).find(testCase.value), std::string::npos)
          << error.what();
    }
  }
}

}  // namespace
}  // namespace ulmar::host
