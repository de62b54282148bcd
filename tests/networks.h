// Networks so small that their answers are worked out by hand, as texts in the engine's form.
#pragma once

#include <initializer_list>
#include <string>

namespace OMB::test {

/// Writes the text of a network layer by layer. Shapes are written as in "1,3,?,2".
class NetworkWriter {
 public:
  using Layer = int;  ///< as its id in the text, where its one output is port 0

  Layer input(const std::string& name, const std::string& shape, const std::string& type = "f32",
              const std::string& layout = "") {
    const std::string declared = layout.empty() ? ""
                                                : "<rt_info><attribute name=\"layout\""
                                                  " version=\"0\" layout=\"" +
                                                      layout + "\"/></rt_info>";
    return add("Parameter", name, "shape=\"" + shape + "\" element_type=\"" + type + "\"", {},
               declared);
  }
  /// A constant of bytes that stand in the weights.
  Layer constant(const std::string& shape, const std::string& type, int offset, int size) {
    return add("Const", "constant" + std::to_string(count),
               "element_type=\"" + type + "\" shape=\"" + shape + "\" offset=\"" +
                   std::to_string(offset) + "\" size=\"" + std::to_string(size) + "\"",
               {});
  }
  Layer add(const std::string& type, const std::string& name, const std::string& data,
            std::initializer_list<Layer> from, const std::string& information = "") {
    std::string ports;
    for (int port = 0; port < static_cast<int>(from.size()); ++port) {
      ports += "<port id=\"" + std::to_string(port + 1) + "\"/>";
      connect(from.begin()[port], port + 1);
    }
    layers += "<layer id=\"" + std::to_string(count) + "\" name=\"" + name + "\" type=\"" + type +
              "\" version=\"opset1\"><data " + data + "/>";
    if (!ports.empty()) layers += "<input>" + ports + "</input>";
    if (type != "Result") {
      layers += "<output><port id=\"0\" precision=\"FP32\">" + information + "</port></output>";
    }
    layers += "</layer>";
    return count++;
  }
  void output(Layer from) { add("Result", "result" + std::to_string(count), "", {from}); }

  std::string text() const {
    return "<?xml version=\"1.0\"?>\n<net name=\"small\" version=\"11\"><layers>" + layers +
           "</layers><edges>" + edges + "</edges></net>\n";
  }

 private:
  void connect(Layer from, int port) {
    edges += "<edge from-layer=\"" + std::to_string(from) + "\" from-port=\"0\" to-layer=\"" +
             std::to_string(count) + "\" to-port=\"" + std::to_string(port) + "\"/>";
  }

  Layer count = 0;
  std::string layers, edges;
};

/// x + x, as an output of the name. Needs no weights.
inline void addTwice(NetworkWriter& network, NetworkWriter::Layer x, const std::string& name) {
  network.output(network.add("Add", name, "auto_broadcast=\"numpy\"", {x, x}));
}

/// y = x + x
inline std::string doublingNetwork(const std::string& shape, const std::string& type = "f32",
                                   const std::string& layout = "") {
  NetworkWriter network;
  addTwice(network, network.input("x", shape, type, layout), "y");
  return network.text();
}

/// y = x * w, with the one weight alone in the weights.
inline std::string scalingNetwork(const std::string& shape) {
  NetworkWriter network;
  const auto x = network.input("x", shape), w = network.constant("1", "f32", 0, 4);
  network.output(network.add("Multiply", "y", "auto_broadcast=\"numpy\"", {x, w}));
  return network.text();
}

}  // namespace OMB::test
