// What an instance of the plug-in costs beside other convolution plug-ins that are
// installed, in the same host and the same run: processor time of the process, so that
// helping threads count, over that of the audio; and what 99.9 % of the calls take.
//   ulmar_plugin_bench PLUGIN_URI STATE_KEY RESPONSE BLOCK_LEN
// prints both in per cent of the time that the audio lasts and that a block lasts. The
// plug-in loads the response by its saved state.
#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr double kRate = 48000.0;

std::map<std::string, LV2_URID>& urids() {
  static std::map<std::string, LV2_URID> all;
  return all;
}
LV2_URID mapped(LV2_URID_Map_Handle, const char* uri) {
  return urids()
      .try_emplace(uri, static_cast<LV2_URID>(urids().size() + 1))
      .first->second;
}
const char* unmapped(LV2_URID_Unmap_Handle, LV2_URID urid) {
  for (const auto& [uri, id] : urids()) {
    if (id == urid) return uri.c_str();
  }
  return nullptr;
}

// Work is done between calls, as none is measured.
struct Worker {
  LilvInstance* instance = nullptr;
  std::vector<std::string> tasks;
  std::vector<std::string> responses;

  static LV2_Worker_Status schedule(LV2_Worker_Schedule_Handle handle,
                                    std::uint32_t size, const void* data) {
    static_cast<Worker*>(handle)->tasks.emplace_back(static_cast<const char*>(data),
                                                     size);
    return LV2_WORKER_SUCCESS;
  }
  static LV2_Worker_Status respond(LV2_Worker_Respond_Handle handle, std::uint32_t size,
                                   const void* data) {
    static_cast<Worker*>(handle)->responses.emplace_back(static_cast<const char*>(data),
                                                         size);
    return LV2_WORKER_SUCCESS;
  }
  void work() {
    const auto* const calls = static_cast<const LV2_Worker_Interface*>(
        lilv_instance_get_extension_data(instance, LV2_WORKER__interface));
    if (calls == nullptr) return;
    LV2_Handle const plugin = lilv_instance_get_handle(instance);
    for (const std::string& task : std::exchange(tasks, {})) {
      calls->work(plugin, respond, this, static_cast<std::uint32_t>(task.size()),
                  task.data());
    }
    for (const std::string& response : std::exchange(responses, {})) {
      calls->work_response(plugin, static_cast<std::uint32_t>(response.size()),
                           response.data());
    }
    if (calls->end_run != nullptr) calls->end_run(plugin);
  }
};

struct Saved {
  std::string key;
  std::string path;
};
const void* retrieve(LV2_State_Handle handle, std::uint32_t key, std::size_t* size,
                     std::uint32_t* type, std::uint32_t* flags) {
  const auto& saved = *static_cast<const Saved*>(handle);
  *flags = LV2_STATE_IS_POD;
  // convoLV2 wants its routing beside the file.
  static constexpr char kRouting[] =
      "convolution.ir.channel.0=1\nconvolution.source.0=1\nconvolution.output.0=1\n"
      "convolution.ir.channel.1=2\nconvolution.source.1=2\nconvolution.output.1=2\n"
      "convolution.maxsize=1048576\n";
  if (key == mapped(nullptr, "http://gareus.org/oss/lv2/convoLV2#state")) {
    *type = mapped(nullptr, LV2_ATOM__String);
    *size = sizeof kRouting;
    return kRouting;
  }
  *type = mapped(nullptr, LV2_ATOM__Path);
  if (key != mapped(nullptr, saved.key.c_str())) return nullptr;
  *size = saved.path.size() + 1;
  return saved.path.c_str();
}
char* same(LV2_State_Map_Path_Handle, const char* path) { return strdup(path); }

double secondsOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s PLUGIN_URI STATE_KEY RESPONSE BLOCK_LEN\n",
                 argv[0]);
    return 2;
  }
  const std::int32_t blockLen = std::atoi(argv[4]);
  LilvWorld* const world = lilv_world_new();
  lilv_world_load_all(world);
  LilvNode* const uri = lilv_new_uri(world, argv[1]);
  const LilvPlugin* const plugin =
      lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
  if (plugin == nullptr) {
    std::fprintf(stderr, "there is no plug-in %s\n", argv[1]);
    return 1;
  }
  Worker worker;
  LV2_URID_Map map = {nullptr, mapped};
  LV2_URID_Unmap unmap = {nullptr, unmapped};
  LV2_Worker_Schedule schedule = {&worker, Worker::schedule};
  LV2_State_Map_Path mapPath = {nullptr, same, same};
  const LV2_URID atomInt = mapped(nullptr, LV2_ATOM__Int);
  const auto option = [&](const char* name) {
    return LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0,       mapped(nullptr, name),
                              sizeof blockLen,      atomInt, &blockLen};
  };
  LV2_Options_Option options[] = {option(LV2_BUF_SIZE__nominalBlockLength),
                                  option(LV2_BUF_SIZE__maxBlockLength),
                                  option(LV2_BUF_SIZE__minBlockLength),
                                  {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
  const LV2_Feature features[] = {{LV2_URID__map, &map},
                                  {LV2_URID__unmap, &unmap},
                                  {LV2_WORKER__schedule, &schedule},
                                  {LV2_OPTIONS__options, options},
                                  {LV2_BUF_SIZE__boundedBlockLength, nullptr},
                                  {LV2_BUF_SIZE__fixedBlockLength, nullptr},
                                  {LV2_BUF_SIZE__powerOf2BlockLength, nullptr},
                                  {LV2_STATE__mapPath, &mapPath}};
  std::vector<const LV2_Feature*> list;
  for (const LV2_Feature& feature : features) list.push_back(&feature);
  list.push_back(nullptr);
  LilvInstance* const instance = lilv_plugin_instantiate(plugin, kRate, list.data());
  if (instance == nullptr) return 1;
  worker.instance = instance;

  const std::uint32_t numPorts = lilv_plugin_get_num_ports(plugin);
  std::vector<float> controls(numPorts);
  lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, controls.data());
  LilvNode* const audio = lilv_new_uri(world, LV2_CORE__AudioPort);
  LilvNode* const control = lilv_new_uri(world, LV2_CORE__ControlPort);
  LilvNode* const input = lilv_new_uri(world, LV2_CORE__InputPort);
  std::vector<std::vector<float>> buffers(numPorts, std::vector<float>(8192));
  std::vector<std::uint32_t> inputs;
  std::vector<std::uint32_t> messages;
  for (std::uint32_t k = 0; k < numPorts; ++k) {
    const LilvPort* const port = lilv_plugin_get_port_by_index(plugin, k);
    if (lilv_port_is_a(plugin, port, control)) {
      if (std::isnan(controls[k])) controls[k] = 0.0F;
      lilv_instance_connect_port(instance, k, &controls[k]);
      continue;
    }
    lilv_instance_connect_port(instance, k, buffers[k].data());
    if (!lilv_port_is_a(plugin, port, audio)) {
      messages.push_back(k);
    } else if (lilv_port_is_a(plugin, port, input)) {
      inputs.push_back(k);
    }
  }
  Saved saved = {argv[2], argv[3]};
  const auto* const state = static_cast<const LV2_State_Interface*>(
      lilv_instance_get_extension_data(instance, LV2_STATE__interface));
  state->restore(lilv_instance_get_handle(instance), retrieve, &saved, 0, list.data());
  lilv_instance_activate(instance);

  std::minstd_rand random(1);
  std::uniform_real_distribution<float> level(-0.1F, 0.1F);
  std::vector<float> noise(1 << 16);
  for (float& sample : noise) sample = level(random);
  std::size_t pos = 0;
  const auto run = [&] {
    for (const std::uint32_t k : inputs) {
      std::copy_n(noise.data() + pos, blockLen, buffers[k].data());
      pos = (pos + static_cast<std::size_t>(blockLen)) % (noise.size() - 8192);
    }
    for (const std::uint32_t k : messages) {
      const LV2_Atom_Sequence empty = {
          {sizeof(LV2_Atom_Sequence_Body), mapped(nullptr, LV2_ATOM__Sequence)},
          {0, 0}};
      std::memcpy(buffers[k].data(), &empty, sizeof empty);
    }
    const double start = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    lilv_instance_run(instance, static_cast<std::uint32_t>(blockLen));
    return secondsOf(CLOCK_THREAD_CPUTIME_ID) - start;
  };
  const double duration = blockLen / kRate;
  const int numWarm = static_cast<int>(8.0 / duration);
  for (int k = 0; k < numWarm; ++k) {
    run();
    worker.work();
  }
  const int numCalls = static_cast<int>(10.0 / duration);
  std::vector<double> calls;
  const double start = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
  for (int k = 0; k < numCalls; ++k) {
    calls.push_back(run());
    // Threads that help need time between blocks, as they have in a real host.
    if (k % 16 == 0) std::this_thread::yield();
  }
  const double whole = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - start;
  std::sort(calls.begin(), calls.end());
  std::printf("%.3f %.3f\n", 100.0 * whole / (numCalls * duration),
              100.0 * calls[calls.size() - 1 - calls.size() / 1000] / duration);
  lilv_instance_deactivate(instance);
  lilv_instance_free(instance);
  return 0;
}
