#include "engine/network_text.h"

#include <cstring>
#include <map>
#include <new>
#include <pugixml.hpp>

#include "ombrel/platform/byte_vector.h"

#include "engine/engine_call.h"
#include "engine/nested_bodies.h"

namespace InferenceEngine {
namespace {

using LayerId = unsigned long long;
using LayersById = std::map<LayerId, pugi::xml_node>;

constexpr char kRoot[] = "net";

// Keeps what stands in front of the root, plain characters too.
constexpr unsigned int kFlags = pugi::parse_default | pugi::parse_fragment |
                                pugi::parse_declaration | pugi::parse_pi | pugi::parse_doctype;

[[noreturn]] void failStart() {
  fail("The network's text does not start as XML does");
}

bool isVersionOne(std::string_view version) {
  return version.starts_with("1.") && version.size() > 2 &&
         version.find_first_not_of("0123456789", 2) == std::string_view::npos;
}

// What another initialisation vector garbles of a declaration as the engine writes it are the 16
// bytes in front of ".0".
bool wasDeclaration(std::string_view instruction) {
  return instruction.find(".0\"") != std::string_view::npos ||
         instruction.find(".0'") != std::string_view::npos;
}

// The engine skips whatever stands before the root, so it would not notice another initialisation
// vector. Nor would anybody that the start of the weights is garbled as well.
void requireSoundStart(const pugi::xml_document& document) {
  bool declared = false;
  for (const pugi::xml_node& node : document) {
    switch (node.type()) {
      case pugi::node_element:
        if (std::strcmp(node.name(), kRoot) == 0) return;
        fail("The root of the network's text is '" + std::string(node.name()) + "' and not 'net'");
      case pugi::node_declaration:
        if (!isVersionOne(node.attribute("version").value())) failStart();
        declared = true;
        break;
      case pugi::node_pi:
        if (!declared && wasDeclaration(node.value())) failStart();
        break;
      case pugi::node_pcdata:
      case pugi::node_cdata:
        failStart();
      default:
        break;
    }
  }
  failStart();
}

bool isOfType(const pugi::xml_node& layer, const char* type) {
  return std::strcmp(layer.attribute("type").value(), type) == 0;
}

std::string layoutOf(const pugi::xml_node& parameter) {
  const pugi::xml_node information = parameter.child("output").child("port").child("rt_info");
  return information.find_child_by_attribute("attribute", "name", "layout")
      .attribute("layout")
      .value();
}

std::string nameOfPort(const pugi::xml_node& layer, LayerId port) {
  std::size_t count = 0, position = 0;
  for (const pugi::xml_node& output : layer.child("output").children("port")) {
    if (output.attribute("id").as_ullong() == port) position = count;
    ++count;
  }
  const std::string name = layer.attribute("name").value();
  return count < 2 ? name : name + "." + std::to_string(position);
}

// The edge into each layer that is a result: it has one.
LayersById edgesInto(const pugi::xml_node& network, const LayersById& results) {
  LayersById edges;
  for (const pugi::xml_node& edge : network.child("edges").children("edge")) {
    const LayerId to = edge.attribute("to-layer").as_ullong();
    if (results.contains(to)) edges.emplace(to, edge);
  }
  return edges;
}

NetworkText readLayers(const pugi::xml_node& network) {
  NetworkText text;
  LayersById layers, results;
  std::vector<LayerId> order;
  for (const pugi::xml_node& layer : network.child("layers").children("layer")) {
    const LayerId id = layer.attribute("id").as_ullong();
    layers.emplace(id, layer);
    if (isOfType(layer, "Parameter")) {
      text.inputs.push_back({layer.attribute("name").value(), layoutOf(layer)});
    } else if (isOfType(layer, "Result")) {
      results.emplace(id, layer);
      order.push_back(id);
    }
  }
  const LayersById edges = edgesInto(network, results);
  for (const LayerId result : order) {
    const auto edge = edges.find(result);
    if (edge == edges.end()) continue;  // the engine refuses it
    const auto feeding = layers.find(edge->second.attribute("from-layer").as_ullong());
    if (feeding == layers.end()) continue;
    text.outputs.push_back(
        nameOfPort(feeding->second, edge->second.attribute("from-port").as_ullong()));
  }
  return text;
}

}  // namespace

NetworkText readNetworkText(std::string_view text) {
  const auto* first = reinterpret_cast<const unsigned char*>(text.data());
  OMB::ByteVector bytes(first, first + text.size());  // the parser writes into them
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer_inplace(bytes.data(), bytes.size(), kFlags);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  requireSoundStart(document);
  requireShallowBodies(document);
  NetworkText read = readLayers(document.child(kRoot));
  // A text that was cut may be sound XML all the same. One that is not is the engine's to refuse.
  if (result && (read.inputs.empty() || read.outputs.empty())) {
    fail("The network has no input or no output");
  }
  return read;
}

}  // namespace InferenceEngine
