// A host of one plug-in: loads the bundle's binary as hosts do, and offers as many
// extensions as it is told to.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/forge.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/ulmar.lv2/ports.h"
#include "plugins/ulmar.lv2/uris.h"
#include "ulmar/host/planar.h"

namespace ulmar::lv2 {

inline const LV2_Descriptor* descriptorOf(std::string_view symbol) {
  static void* const library = dlopen(ULMAR_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(dlerror());
  const auto get =
      reinterpret_cast<LV2_Descriptor_Function>(dlsym(library, "lv2_descriptor"));
  const std::string uri = std::string(kUriPrefix).append(symbol);
  for (std::uint32_t k = 0; const LV2_Descriptor* found = get(k); ++k) {
    if (uri == found->URI) return found;
  }
  throw std::runtime_error("no plug-in " + uri);
}

struct Offers {
  bool map = true;
  bool options = true;
  bool worker = true;
};

/// Messages in the order in which they came, without any allocation. For two threads.
class MessageQueue {
 public:
  bool push(const void* data, std::uint32_t size) {
    const std::lock_guard lock(mutex_);
    if (count_ == kMost || size > kMostBytes) return false;
    std::memcpy(slots_[(first_ + count_) % kMost].data(), data, size);
    sizes_[(first_ + count_++) % kMost] = size;
    return true;
  }
  bool empty() const {
    const std::lock_guard lock(mutex_);
    return count_ == 0;
  }
  std::string pop() {
    const std::lock_guard lock(mutex_);
    const std::string message(slots_[first_].data(), sizes_[first_]);
    first_ = (first_ + 1) % kMost;
    --count_;
    return message;
  }

 private:
  static constexpr std::size_t kMost = 16;
  static constexpr std::size_t kMostBytes = 4096;
  std::array<std::array<char, kMostBytes>, kMost> slots_{};
  std::array<std::uint32_t, kMost> sizes_{};
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  mutable std::mutex mutex_;
};

/// Work is done when work() is called, so that a test says what overlaps.
class SmallHost {
 public:
  explicit SmallHost(const Variant& which, double sampleRate = 48000.0,
                     int blockLen = 64, Offers offers = {})
      : variant(which),
        index(which),
        controls(index.count),
        descriptor_(descriptorOf(which.symbol)) {
    blockLen_ = blockLen;
    lv2_atom_forge_init(&forge_, &map_);
    const LV2_Feature map = {LV2_URID__map, &map_};
    const LV2_Feature worker = {LV2_WORKER__schedule, &schedule_};
    const LV2_Options_Option options[] = {
        {LV2_OPTIONS_INSTANCE, 0, urid(LV2_BUF_SIZE__nominalBlockLength),
         sizeof blockLen_, urid(LV2_ATOM__Int), &blockLen_},
        {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
    const LV2_Feature option = {LV2_OPTIONS__options,
                                const_cast<LV2_Options_Option*>(options)};
    std::vector<const LV2_Feature*> features;
    if (offers.map) features.push_back(&map);
    if (offers.worker) features.push_back(&worker);
    if (offers.options) features.push_back(&option);
    features.push_back(nullptr);
    handle_ = descriptor_->instantiate(descriptor_, sampleRate, "", features.data());
    if (handle_ == nullptr) throw std::runtime_error("not instantiated");
    for (const ControlPort& port : controlPorts()) {
      if (port.control != Control::peak) at(port.control) = port.initial;
    }
    for (std::uint32_t k = index.controls; k < index.count; ++k) {
      descriptor_->connect_port(handle_, k, &controls[k]);
    }
    descriptor_->connect_port(handle_, index.events, events_.data());
    descriptor_->connect_port(handle_, index.notify, notify_.data());
  }
  ~SmallHost() { descriptor_->cleanup(handle_); }
  SmallHost(const SmallHost&) = delete;
  SmallHost& operator=(const SmallHost&) = delete;

  float& at(Control control) {
    return controls[index.controls + static_cast<std::uint32_t>(control)];
  }

  void activate() {
    descriptor_->activate(handle_);
    active_ = true;
  }

  /// A run with buffers of the caller's; any may be null.
  void run(const float* const* in, float* const* out, std::uint32_t frames) {
    if (!active_) activate();
    for (std::uint32_t k = 0; k < index.outputs; ++k) {
      descriptor_->connect_port(handle_, k, const_cast<float*>(in[k]));
    }
    for (std::uint32_t k = index.outputs; k < index.events; ++k) {
      descriptor_->connect_port(handle_, k, out[k - index.outputs]);
    }
    prepareMessages();
    respond();
    descriptor_->run(handle_, frames);
    message_.clear();
  }

  /// Whole signals in calls of so many frames, the sizes over and over; work is done
  /// after each call.
  Planar play(const Planar& input, const std::vector<int>& sizes = {64}) {
    const std::size_t total = input[0].size();
    Planar output(index.events - index.outputs, std::vector<float>(total));
    std::size_t call = 0;
    for (std::size_t done = 0; done < total; ++call) {
      const auto frames =
          std::min(static_cast<std::size_t>(sizes[call % sizes.size()]), total - done);
      std::vector<const float*> in;
      std::vector<float*> out;
      for (const auto& channel : input) in.push_back(channel.data() + done);
      for (auto& channel : output) out.push_back(channel.data() + done);
      run(in.data(), out.data(), static_cast<std::uint32_t>(frames));
      work();
      done += frames;
    }
    return output;
  }

  /// Does what has been asked of the worker.
  void work() {
    const auto* const worker = static_cast<const LV2_Worker_Interface*>(
        descriptor_->extension_data(LV2_WORKER__interface));
    while (!tasks_.empty()) {
      const std::string task = tasks_.pop();
      worker->work(handle_, &SmallHost::takeResponse, this,
                   static_cast<std::uint32_t>(task.size()), task.data());
    }
  }

  /// Sends patch:Set with the next run.
  void setFile(const std::string& path) { message_ = path; }

  std::string save() {
    const LV2_Feature* const features[] = {nullptr};
    saved_.clear();
    EXPECT_EQ(state().save(handle_, &SmallHost::store, this, 0, features),
              LV2_STATE_SUCCESS);
    return saved_;
  }
  void restore(const std::string& saved, bool withWorker = false) {
    saved_ = saved;
    const LV2_Feature worker = {LV2_WORKER__schedule, &schedule_};
    const LV2_Feature* const features[] = {withWorker ? &worker : nullptr, nullptr};
    EXPECT_EQ(state().restore(handle_, &SmallHost::retrieve, this, 0, features),
              LV2_STATE_SUCCESS);
  }

  /// The path that the last message from the plug-in tells, or nothing.
  std::string notifiedPath() const {
    const std::string bytes(notify_.begin(), notify_.end());
    const std::size_t start = bytes.find('/', sizeof(LV2_Atom));
    const auto size = reinterpret_cast<const LV2_Atom*>(notify_.data())->size;
    if (size <= sizeof(LV2_Atom_Sequence_Body) || start == bytes.npos) return "";
    return bytes.c_str() + start;
  }

  const Variant& variant;
  const PortIndex index;
  std::vector<float> controls;

 private:
  LV2_URID urid(const std::string& uri) {
    return uris_.try_emplace(uri, static_cast<LV2_URID>(uris_.size() + 1))
        .first->second;
  }
  const LV2_State_Interface& state() const {
    return *static_cast<const LV2_State_Interface*>(
        descriptor_->extension_data(LV2_STATE__interface));
  }

  void prepareMessages() {
    LV2_Atom_Forge& forge = forge_;
    lv2_atom_forge_set_buffer(&forge, events_.data(), events_.size());
    LV2_Atom_Forge_Frame sequence;
    lv2_atom_forge_sequence_head(&forge, &sequence, 0);
    if (!message_.empty()) {
      lv2_atom_forge_frame_time(&forge, 0);
      LV2_Atom_Forge_Frame object;
      lv2_atom_forge_object(&forge, &object, 0, urid(LV2_PATCH__Set));
      lv2_atom_forge_key(&forge, urid(LV2_PATCH__property));
      lv2_atom_forge_urid(&forge, urid(responseUri()));
      lv2_atom_forge_key(&forge, urid(LV2_PATCH__value));
      lv2_atom_forge_path(&forge, message_.c_str(),
                          static_cast<std::uint32_t>(message_.size()));
      lv2_atom_forge_pop(&forge, &object);
    }
    lv2_atom_forge_pop(&forge, &sequence);
    *reinterpret_cast<LV2_Atom*>(notify_.data()) = {
        static_cast<std::uint32_t>(notify_.size() - sizeof(LV2_Atom)), 0};
  }

  void respond() {
    const auto* const worker = static_cast<const LV2_Worker_Interface*>(
        descriptor_->extension_data(LV2_WORKER__interface));
    while (!responses_.empty()) {
      const std::string response = responses_.pop();
      worker->work_response(handle_, static_cast<std::uint32_t>(response.size()),
                            response.data());
    }
  }

  static LV2_Worker_Status scheduleWork(LV2_Worker_Schedule_Handle handle,
                                        std::uint32_t size, const void* data) {
    return static_cast<SmallHost*>(handle)->tasks_.push(data, size)
               ? LV2_WORKER_SUCCESS
               : LV2_WORKER_ERR_NO_SPACE;
  }
  static LV2_Worker_Status takeResponse(LV2_Worker_Respond_Handle handle,
                                        std::uint32_t size, const void* data) {
    return static_cast<SmallHost*>(handle)->responses_.push(data, size)
               ? LV2_WORKER_SUCCESS
               : LV2_WORKER_ERR_NO_SPACE;
  }
  static LV2_State_Status store(LV2_State_Handle handle, std::uint32_t,
                                const void* value, std::size_t, std::uint32_t,
                                std::uint32_t) {
    static_cast<SmallHost*>(handle)->saved_ = static_cast<const char*>(value);
    return LV2_STATE_SUCCESS;
  }
  static const void* retrieve(LV2_State_Handle handle, std::uint32_t, std::size_t* size,
                              std::uint32_t* type, std::uint32_t* flags) {
    auto& host = *static_cast<SmallHost*>(handle);
    *size = host.saved_.size() + 1;
    *type = host.urid(LV2_ATOM__Path);
    *flags = 0;
    return host.saved_.empty() ? nullptr : host.saved_.c_str();
  }

  std::map<std::string, LV2_URID> uris_;
  LV2_URID_Map map_ = {this, [](LV2_URID_Map_Handle handle, const char* uri) {
                         return static_cast<SmallHost*>(handle)->urid(uri);
                       }};
  LV2_Worker_Schedule schedule_ = {this, &SmallHost::scheduleWork};
  LV2_Atom_Forge forge_{};
  std::int32_t blockLen_ = 0;
  const LV2_Descriptor* descriptor_;
  LV2_Handle handle_ = nullptr;
  bool active_ = false;
  alignas(8) std::array<std::uint8_t, 8192> events_{};
  alignas(8) std::array<std::uint8_t, 8192> notify_{};
  MessageQueue tasks_;
  MessageQueue responses_;
  std::string message_;
  std::string saved_;
};

inline const Variant& variantNamed(std::string_view symbol) {
  return *std::ranges::find(variants(), symbol, &Variant::symbol);
}

}  // namespace ulmar::lv2
