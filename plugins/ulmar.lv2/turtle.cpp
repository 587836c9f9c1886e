// Writes the bundle's descriptions: manifest.ttl, ulmar.ttl and presets.ttl, from the
// tables that the plug-in itself works with.
#include <fstream>
#include <iostream>
#include <sstream>

#include "plugins/ulmar.lv2/ports.h"
#include "plugins/ulmar.lv2/uris.h"

namespace ulmar::lv2 {
namespace {

constexpr const char* kPrefixes =
    R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix log: <http://lv2plug.in/ns/ext/log#> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix opts: <http://lv2plug.in/ns/ext/options#> .
@prefix patch: <http://lv2plug.in/ns/ext/patch#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .
@prefix state: <http://lv2plug.in/ns/ext/state#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .
@prefix work: <http://lv2plug.in/ns/ext/worker#> .

)";

struct Preset {
  const char* symbol;
  const char* name;
  Choice choice;
  float wet;  // dB
};
constexpr Preset kPresets[] = {{"small", "Small room", Choice::small, -12.0F},
                               {"hall", "Concert hall", Choice::hall, -12.0F},
                               {"cathedral", "Cathedral", Choice::cathedral, -15.0F}};

std::string presetUri(const Variant& variant, const Preset& preset) {
  return variant.uri().append(":").append(preset.symbol);
}

std::string manifest() {
  std::ostringstream out;
  out << kPrefixes;
  for (const Variant& variant : variants()) {
    out << '<' << variant.uri() << ">\n\ta lv2:Plugin ;\n"
        << "\tlv2:binary <ulmar.so> ;\n\trdfs:seeAlso <ulmar.ttl> .\n\n";
    for (const Preset& preset : kPresets) {
      out << '<' << presetUri(variant, preset) << ">\n\ta pset:Preset ;\n"
          << "\tlv2:appliesTo <" << variant.uri() << "> ;\n"
          << "\trdfs:label \"" << preset.name << "\" ;\n"
          << "\trdfs:seeAlso <presets.ttl> .\n\n";
    }
  }
  return out.str();
}

// A decimal number: turtle tells 1 and 1.0 apart, and hosts read either.
std::string number(float value) {
  std::ostringstream out;
  out << value;
  const std::string text = out.str();
  return text.find_first_of(".e") == std::string::npos ? std::string(text).append(".0")
                                                       : text;
}

struct AudioChannel {
  const char* symbol;
  const char* name;
  const char* designation;
};

AudioChannel audioChannel(int index, int count) {
  constexpr AudioChannel kMono = {"", "", "pg:center"};
  constexpr AudioChannel kAll[] = {
      {"_left", " Left", "pg:left"},
      {"_right", " Right", "pg:right"},
      {"_centre", " Centre", "pg:center"},
      {"_left_surround", " Left Surround", "pg:rearLeft"},
      {"_right_surround", " Right Surround", "pg:rearRight"}};
  return count == 1 ? kMono : kAll[index];
}

const char* groupType(int count) {
  return count == 1   ? "pg:MonoGroup"
         : count == 2 ? "pg:StereoGroup"
                      : "pg:FivePointZeroGroup";
}

void writeAudioPorts(std::ostream& out, const Variant& variant, bool input,
                     std::uint32_t first) {
  const int count = input ? variant.inputs : variant.outputs;
  for (int k = 0; k < count; ++k) {
    const AudioChannel channel = audioChannel(k, count);
    out << "\tlv2:port [\n\t\ta lv2:AudioPort , lv2:"
        << (input ? "InputPort" : "OutputPort") << " ;\n\t\tlv2:index "
        << first + static_cast<std::uint32_t>(k) << " ;\n\t\tlv2:symbol \""
        << (input ? "in" : "out") << channel.symbol << "\" ;\n\t\tlv2:name \""
        << (input ? "In" : "Out") << channel.name << "\" ;\n\t\tpg:group <"
        << variant.uri() << (input ? ":input" : ":output")
        << "> ;\n\t\tlv2:designation " << channel.designation << "\n\t] ;\n";
  }
}

void writeMessagePorts(std::ostream& out, const PortIndex& index) {
  const auto write = [&](const char* direction, std::uint32_t port, const char* symbol,
                         const char* name) {
    out << "\tlv2:port [\n\t\ta atom:AtomPort , lv2:" << direction
        << " ;\n\t\tatom:bufferType atom:Sequence ;\n\t\tatom:supports patch:Message "
           ";\n\t\tlv2:designation lv2:control ;\n\t\trsz:minimumSize 8192 ;\n"
           "\t\tlv2:portProperty lv2:connectionOptional ;\n\t\tlv2:index "
        << port << " ;\n\t\tlv2:symbol \"" << symbol << "\" ;\n\t\tlv2:name \"" << name
        << "\"\n\t] ;\n";
  };
  write("InputPort", index.events, "events", "Events");
  write("OutputPort", index.notify, "notify", "Notifications");
}

void writeControl(std::ostream& out, const ControlPort& port, std::uint32_t index,
                  const std::string& suffix = "") {
  out << "\tlv2:port [\n\t\ta lv2:ControlPort , lv2:"
      << (port.isOutput() ? "OutputPort" : "InputPort") << " ;\n\t\tlv2:index " << index
      << " ;\n\t\tlv2:symbol \"" << port.symbol << suffix << "\" ;\n\t\tlv2:name \""
      << port.name;
  if (!suffix.empty()) out << ' ' << suffix.substr(1);
  out << "\" ;\n\t\tlv2:minimum " << number(port.low) << " ;\n\t\tlv2:maximum "
      << number(port.high) << " ;\n\t\tlv2:default " << number(port.initial);
  if (*port.traits != '\0') out << " ;\n\t\t" << port.traits;
  if (*port.unit != '\0') out << " ;\n\t\tunits:unit units:" << port.unit;
  if (*port.comment != '\0') out << " ;\n\t\trdfs:comment \"" << port.comment << '"';
  for (const ScalePoint& point : port.points) {
    out << " ;\n\t\tlv2:scalePoint [ rdfs:label \"" << point.label << "\" ; rdf:value "
        << number(point.value) << " ]";
  }
  out << "\n\t] ;\n";
}

void writePlugin(std::ostream& out, const Variant& variant) {
  const PortIndex index(variant);
  for (const bool input : {true, false}) {
    out << '<' << variant.uri() << (input ? ":input" : ":output") << ">\n\ta "
        << groupType(input ? variant.inputs : variant.outputs)
        << " , pg:" << (input ? "InputGroup" : "OutputGroup") << " ;\n\tlv2:symbol \""
        << (input ? "input" : "output") << "\" ;\n\tlv2:name \""
        << (input ? "Input" : "Output") << "\" .\n\n";
  }
  out << '<' << variant.uri() << ">\n\ta lv2:Plugin , lv2:ReverbPlugin ;\n"
      << "\tdoap:name \"" << variant.name << "\" ;\n"
      << "\tlv2:minorVersion 0 ;\n\tlv2:microVersion 0 ;\n"
      << "\tlv2:requiredFeature urid:map ;\n"
      << "\tlv2:optionalFeature lv2:hardRTCapable , log:log , opts:options , "
         "work:schedule ,\n\t\tstate:threadSafeRestore , state:mapPath , "
         "state:freePath ;\n"
      << "\tlv2:extensionData work:interface , state:interface ;\n"
      << "\topts:supportedOption bufsz:nominalBlockLength , bufsz:maxBlockLength ;\n"
      << "\tpg:mainInput <" << variant.uri() << ":input> ;\n"
      << "\tpg:mainOutput <" << variant.uri() << ":output> ;\n"
      << "\tpatch:writable <" << responseUri() << "> ;\n";
  writeAudioPorts(out, variant, true, 0);
  writeAudioPorts(out, variant, false, index.outputs);
  writeMessagePorts(out, index);
  for (const ControlPort& port : controlPorts()) {
    if (port.control == Control::peak) continue;
    writeControl(out, port, index.controls + static_cast<std::uint32_t>(port.control));
  }
  for (int k = 0; k < variant.outputs; ++k) {
    writeControl(out, portOf(Control::peak),
                 index.peaks + static_cast<std::uint32_t>(k),
                 std::string("_").append(std::to_string(k + 1)));
  }
  out << "\trdfs:comment \"Convolves the input with a recorded or a built-in room.\" "
         ".\n\n";
}

std::string description() {
  std::ostringstream out;
  out << kPrefixes << '<' << responseUri()
      << ">\n\ta lv2:Parameter ;\n\trdfs:label \"Response file\" ;\n"
         "\trdfs:comment \"An impulse response as WAV, FLAC, AIFF or another file of "
         "samples.\" ;\n\trdfs:range atom:Path .\n\n";
  for (const Variant& variant : variants()) writePlugin(out, variant);
  return out.str();
}

std::string presets() {
  std::ostringstream out;
  out << kPrefixes;
  for (const Variant& variant : variants()) {
    for (const Preset& preset : kPresets) {
      out << '<' << presetUri(variant, preset) << ">\n\ta pset:Preset ;\n"
          << "\tlv2:appliesTo <" << variant.uri() << "> ;\n\trdfs:label \""
          << preset.name << "\" ;\n\tlv2:port [ lv2:symbol \"response\" ; pset:value "
          << number(static_cast<float>(preset.choice))
          << " ] , [ lv2:symbol \"wet\" ; pset:value " << number(preset.wet)
          << " ] .\n\n";
    }
  }
  return out.str();
}

bool write(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  if (!file) std::cerr << "cannot write " << path << '\n';
  return static_cast<bool>(file);
}

}  // namespace
}  // namespace ulmar::lv2

int main(int argc, char** argv) {
  using namespace ulmar::lv2;
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " FOLDER\n";
    return 2;
  }
  const std::string folder = std::string(argv[1]).append("/");
  return write(folder + "manifest.ttl", manifest()) &&
                 write(folder + "ulmar.ttl", description()) &&
                 write(folder + "presets.ttl", presets())
             ? 0
             : 1;
}
