// The URIs that messages and options are known by, mapped by the host.
#pragma once

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/log/log.h>
#include <lv2/options/options.h>
#include <lv2/patch/patch.h>
#include <lv2/urid/urid.h>

#include "plugins/ulmar.lv2/variants.h"

namespace ulmar::lv2 {

/// The property that holds the file's path.
inline std::string responseUri() { return std::string(kUriPrefix) + "response"; }

/// All 0 without a map, as simple hosts of audio alone have it.
struct Uris {
  explicit Uris(const LV2_URID_Map* map) {
    const auto set = [map](LV2_URID& uri, const char* name) {
      uri = map != nullptr ? map->map(map->handle, name) : 0;
    };
    set(atomInt, LV2_ATOM__Int);
    set(atomPath, LV2_ATOM__Path);
    set(atomUrid, LV2_ATOM__URID);
    set(logError, LV2_LOG__Error);
    set(maxBlockLength, LV2_BUF_SIZE__maxBlockLength);
    set(nominalBlockLength, LV2_BUF_SIZE__nominalBlockLength);
    set(patchGet, LV2_PATCH__Get);
    set(patchProperty, LV2_PATCH__property);
    set(patchSet, LV2_PATCH__Set);
    set(patchValue, LV2_PATCH__value);
    set(response, responseUri().c_str());
  }

  LV2_URID atomInt = 0;
  LV2_URID atomPath = 0;
  LV2_URID atomUrid = 0;
  LV2_URID logError = 0;
  LV2_URID maxBlockLength = 0;
  LV2_URID nominalBlockLength = 0;
  LV2_URID patchGet = 0;
  LV2_URID patchProperty = 0;
  LV2_URID patchSet = 0;
  LV2_URID patchValue = 0;
  LV2_URID response = 0;
};

}  // namespace ulmar::lv2
