// The plug-in in a host that does what it likes: any port values, sessions and patch
// messages, with or without a worker. Whatever comes, the output stays finite.
#include <lv2/atom/forge.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "fuzz/choices.h"
#include "plugins/ulmar.lv2/ports.h"
#include "plugins/ulmar.lv2/uris.h"

namespace {

using namespace ulmar::lv2;
using ulmar::fuzz::Choices;

constexpr int kMostFrames = 300;
constexpr int kMostSteps = 24;

class Host {
 public:
  explicit Host(Choices& choices)
      : choices_(choices),
        descriptor_(lv2_descriptor(static_cast<std::uint32_t>(choices.below(6)))),
        variant_(variants()[static_cast<std::size_t>(numberOf(descriptor_))]),
        index_(variant_),
        controls_(index_.count),
        random_(choices.random()) {
    const LV2_Feature map = {LV2_URID__map, &map_};
    const LV2_Feature worker = {LV2_WORKER__schedule, &schedule_};
    const LV2_Feature* const features[] = {&map, choices.yes() ? &worker : nullptr,
                                           nullptr};
    constexpr double kRates[] = {8000, 8000, 8000, 11025, 44100, 1000, 0, 1e9, -1};
    const double rate = kRates[choices.below(9)];
    handle_ = descriptor_->instantiate(descriptor_, rate, "", features);
    if (handle_ == nullptr) return;
    lv2_atom_forge_init(&forge_, &map_);
    for (const ControlPort& port : controlPorts()) {
      if (port.control != Control::peak) at(port.control) = port.initial;
    }
    at(Control::length) = 0.05F;
    for (std::uint32_t k = index_.controls; k < index_.count; ++k) {
      descriptor_->connect_port(handle_, k, &controls_[k]);
    }
    for (std::uint32_t k = 0; k < index_.events; ++k) {
      buffers_.emplace_back(kMostFrames);
      descriptor_->connect_port(handle_, k, buffers_.back().data());
    }
    descriptor_->connect_port(handle_, index_.events, events_);
    descriptor_->connect_port(handle_, index_.notify, notify_);
  }
  ~Host() {
    if (handle_ != nullptr) descriptor_->cleanup(handle_);
    if (file_ >= 0) close(file_);
  }

  void play() {
    if (handle_ == nullptr) return;
    for (int step = 0; step < kMostSteps && !choices_.atEnd(); ++step) {
      switch (choices_.below(5)) {
        case 0:
          setControl();
          break;
        case 1:
          restore(path());
          break;
        case 2:
          message_ = path();
          break;
        case 3:
          descriptor_->activate(handle_);
          run();
          break;
        default:
          run();
      }
    }
    run();
  }

 private:
  static int numberOf(const LV2_Descriptor* descriptor) {
    int number = 0;
    while (lv2_descriptor(static_cast<std::uint32_t>(number)) != descriptor) ++number;
    return number;
  }
  float& at(Control control) {
    return controls_[index_.controls + static_cast<std::uint32_t>(control)];
  }

  float value() {
    const auto bits = static_cast<std::uint32_t>(choices_.below(65536)) << 16;
    return choices_.yes() ? std::bit_cast<float>(bits)
                          : static_cast<float>(choices_.below(16));
  }
  void setControl() {
    const ControlPort& port = controlPorts()[static_cast<std::size_t>(
        choices_.below(static_cast<int>(controlPorts().size())))];
    if (port.control == Control::peak) return;
    at(port.control) = value();
    // A long response would only take long.
    at(Control::length) = 0.05F;
  }

  // Of a good file of 16 bits, or of nothing that there is.
  std::string path() {
    const int channels = choices_.below(12);
    if (channels == 0) {
      const auto rest = choices_.rest();
      return {rest.begin(),
              rest.begin() + std::min<std::ptrdiff_t>(40, std::ssize(rest))};
    }
    const auto frameBytes = static_cast<std::uint8_t>(2 * channels);
    std::string wav("RIFF\x00\x00\x00\x00WAVEfmt \x10\x00\x00\x00\x01\x00", 22);
    for (const int byte :
         {channels, 0, 0x40, 0x1F, 0, 0, 0, 0, 0, 0, int{frameBytes}, 0, 16, 0}) {
      wav += static_cast<char>(byte);
    }
    wav.append("data\x00\x00\x00\x00", 8);
    for (int k = 0; k < 20 * frameBytes; ++k) wav += static_cast<char>(choices_.byte());
    if (file_ >= 0) close(file_);
    file_ = memfd_create("response", MFD_CLOEXEC);
    if (write(file_, wav.data(), wav.size()) < 0) std::abort();
    return "/proc/self/fd/" + std::to_string(file_);
  }

  void restore(const std::string& text) {
    restored_ = text;
    const auto* const state = static_cast<const LV2_State_Interface*>(
        descriptor_->extension_data(LV2_STATE__interface));
    const LV2_Feature worker = {LV2_WORKER__schedule, &schedule_};
    const LV2_Feature* const features[] = {choices_.yes() ? &worker : nullptr, nullptr};
    const auto retrieve = [](LV2_State_Handle handle, std::uint32_t, std::size_t* size,
                             std::uint32_t* type, std::uint32_t* flags) -> const void* {
      auto& host = *static_cast<Host*>(handle);
      *size = host.restored_.size() + (host.choices_.yes() ? 1 : 0);
      *type = host.urid(host.choices_.below(8) == 0 ? LV2_ATOM__Int : LV2_ATOM__Path);
      *flags = 0;
      return host.restored_.data();
    };
    state->restore(handle_, retrieve, this, 0, features);
    const auto store = [](LV2_State_Handle, std::uint32_t, const void* stored,
                          std::size_t size, std::uint32_t, std::uint32_t) {
      if (static_cast<const char*>(stored)[size - 1] != '\0') std::abort();
      return LV2_STATE_SUCCESS;
    };
    state->save(handle_, store, this, 0, features);
  }

  void prepareMessages() {
    lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(events_),
                              sizeof events_);
    LV2_Atom_Forge_Frame sequence;
    LV2_Atom_Forge_Frame object;
    lv2_atom_forge_sequence_head(&forge_, &sequence, 0);
    if (!message_.empty()) {
      lv2_atom_forge_frame_time(&forge_, 0);
      lv2_atom_forge_object(&forge_, &object, 0,
                            urid(choices_.yes() ? LV2_PATCH__Set : LV2_PATCH__Get));
      lv2_atom_forge_key(&forge_, urid(LV2_PATCH__property));
      lv2_atom_forge_urid(&forge_, urid(responseUri().c_str()));
      lv2_atom_forge_key(&forge_, urid(LV2_PATCH__value));
      const auto size = static_cast<std::uint32_t>(message_.size());
      if (choices_.below(8) == 0) {
        lv2_atom_forge_int(&forge_, 7);
      } else {
        lv2_atom_forge_path(&forge_, message_.data(), size);
      }
      lv2_atom_forge_pop(&forge_, &object);
    }
    lv2_atom_forge_pop(&forge_, &sequence);
    message_.clear();
    const auto room = choices_.below(4) == 0 ? 16U : sizeof notify_ - sizeof(LV2_Atom);
    *reinterpret_cast<LV2_Atom*>(notify_) = {static_cast<std::uint32_t>(room), 0};
  }

  void run() {
    const int frames = choices_.below(kMostFrames + 1);
    const float poison = choices_.yes() ? value() : 0.0F;
    for (std::uint32_t k = index_.outputs; k-- > 0;) {
      for (float& sample : buffers_[k]) sample = random_.sample();
      buffers_[k][0] += poison;
    }
    prepareMessages();
    descriptor_->run(handle_, static_cast<std::uint32_t>(frames));
    for (std::uint32_t k = index_.outputs; k < index_.events; ++k) {
      for (int i = 0; i < frames; ++i) {
        if (!std::isfinite(buffers_[k][static_cast<std::size_t>(i)])) std::abort();
      }
    }
    const auto* const worker = static_cast<const LV2_Worker_Interface*>(
        descriptor_->extension_data(LV2_WORKER__interface));
    const auto respond = [](LV2_Worker_Respond_Handle handle, std::uint32_t size,
                            const void* data) {
      auto& host = *static_cast<Host*>(handle);
      host.responses_.emplace_back(static_cast<const char*>(data), size);
      return LV2_WORKER_SUCCESS;
    };
    while (!tasks_.empty()) {
      const std::string task = tasks_.front();
      tasks_.pop_front();
      worker->work(handle_, respond, this, static_cast<std::uint32_t>(task.size()),
                   task.data());
    }
    for (const std::string& response : responses_) {
      worker->work_response(handle_, static_cast<std::uint32_t>(response.size()),
                            response.data());
    }
    responses_.clear();
  }

  LV2_URID urid(const char* uri) {
    return uris_.try_emplace(uri, static_cast<LV2_URID>(uris_.size() + 1))
        .first->second;
  }

  Choices& choices_;
  const LV2_Descriptor* descriptor_;
  const Variant& variant_;
  PortIndex index_;
  std::vector<float> controls_;
  ulmar::test::Random random_;
  std::map<std::string, LV2_URID> uris_;
  LV2_URID_Map map_ = {this, [](LV2_URID_Map_Handle handle, const char* uri) {
                         return static_cast<Host*>(handle)->urid(uri);
                       }};
  LV2_Worker_Schedule schedule_ = {this, [](LV2_Worker_Schedule_Handle handle,
                                            std::uint32_t size, const void* data) {
                                     static_cast<Host*>(handle)->tasks_.emplace_back(
                                         static_cast<const char*>(data), size);
                                     return LV2_WORKER_SUCCESS;
                                   }};
  LV2_Atom_Forge forge_{};
  LV2_Handle handle_ = nullptr;
  std::vector<std::vector<float>> buffers_;
  alignas(8) char events_[1024];
  alignas(8) char notify_[1024];
  std::deque<std::string> tasks_;
  std::vector<std::string> responses_;
  std::string message_;
  std::string restored_;
  int file_ = -1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Choices choices(data, size);
  Host(choices).play();
  return 0;
}
