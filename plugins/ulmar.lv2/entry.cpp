// The bundle's one published function, and the calls of a host, of which no exception
// may come back.
#include <lv2/core/lv2.h>

#include <cstring>
#include <exception>
#include <vector>

#include "plugins/ulmar.lv2/instance.h"

namespace ulmar::lv2 {
namespace {

Instance& instanceOf(LV2_Handle handle) { return *static_cast<Instance*>(handle); }

const Variant& variantOf(const LV2_Descriptor& descriptor) {
  for (const Variant& variant : variants()) {
    if (variant.uri() == descriptor.URI) return variant;
  }
  return variants()[0];
}

Features featuresOf(const LV2_Feature* const* list) {
  Features features;
  for (; list != nullptr && *list != nullptr; ++list) {
    const char* const uri = (*list)->URI;
    if (uri == nullptr) continue;  // as some hosts have it
    const auto take = [&](const char* wanted, auto*& feature) {
      using Type = std::remove_reference_t<decltype(feature)>;
      if (std::strcmp(uri, wanted) == 0) feature = static_cast<Type>((*list)->data);
    };
    take(LV2_URID__map, features.map);
    take(LV2_OPTIONS__options, features.options);
    take(LV2_WORKER__schedule, features.worker);
    take(LV2_LOG__log, features.log);
  }
  return features;
}

LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char*,
                       const LV2_Feature* const* list) {
  const Features features = featuresOf(list);
  try {
    return new Instance(variantOf(*descriptor), rate, features);
  } catch (const std::exception& error) {
    if (features.log != nullptr) {
      const Uris uris(features.map);
      features.log->printf(features.log->handle, uris.logError, "ulmar.lv2: %s\n",
                           error.what());
    }
    return nullptr;
  }
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) {
  instanceOf(handle).connect(port, data);
}

void activate(LV2_Handle handle) {
  try {
    instanceOf(handle).activate();
  } catch (const std::exception&) {
    // run() is silent without a player.
  }
}

void run(LV2_Handle handle, std::uint32_t frames) {
  try {
    instanceOf(handle).run(frames);
  } catch (const std::exception&) {
    // Only what loads while freewheeling can end here; what played goes on.
  }
}

void cleanup(LV2_Handle handle) { delete &instanceOf(handle); }

LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function respond,
                       LV2_Worker_Respond_Handle respondHandle, std::uint32_t size,
                       const void* data) {
  try {
    return instanceOf(handle).work(respond, respondHandle, size, data);
  } catch (const std::exception&) {
    return LV2_WORKER_ERR_UNKNOWN;
  }
}

LV2_Worker_Status workResponse(LV2_Handle handle, std::uint32_t size,
                               const void* data) {
  instanceOf(handle).workResponse(size, data);
  return LV2_WORKER_SUCCESS;
}

LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store,
                      LV2_State_Handle state, std::uint32_t,
                      const LV2_Feature* const* features) {
  try {
    return instanceOf(handle).save(store, state, features);
  } catch (const std::exception&) {
    return LV2_STATE_ERR_UNKNOWN;
  }
}

LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                         LV2_State_Handle state, std::uint32_t,
                         const LV2_Feature* const* features) {
  try {
    return instanceOf(handle).restore(retrieve, state, features);
  } catch (const std::exception&) {
    return LV2_STATE_ERR_UNKNOWN;
  }
}

const void* extensionData(const char* uri) {
  static constexpr LV2_Worker_Interface kWorker = {work, workResponse, nullptr};
  static constexpr LV2_State_Interface kState = {save, restore};
  if (std::strcmp(uri, LV2_WORKER__interface) == 0) return &kWorker;
  if (std::strcmp(uri, LV2_STATE__interface) == 0) return &kState;
  return nullptr;
}

// The descriptors point into the URIs beside them.
struct Descriptors {
  Descriptors() {
    for (const Variant& variant : variants()) uris.push_back(variant.uri());
    for (const std::string& uri : uris) {
      all.push_back({uri.c_str(), instantiate, connectPort, activate, run, nullptr,
                     cleanup, extensionData});
    }
  }
  std::vector<std::string> uris;
  std::vector<LV2_Descriptor> all;
};

}  // namespace
}  // namespace ulmar::lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  static const ulmar::lv2::Descriptors descriptors;
  return index < descriptors.all.size() ? &descriptors.all[index] : nullptr;
}
