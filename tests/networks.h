// Networks so small that their answers are worked out by hand, as texts of the engine's IR.
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace OMB::test {

using Shape = std::vector<int>;  // -1 stands for an unknown dimension

/// Writes a network layer by layer; edges come with the layer that they lead to.
class NetworkText {
 public:
  /// Returns the layer's number. `type` is the element type in the IR's spelling.
  int parameter(const std::string& name, const Shape& shape, const std::string& type = "f32",
                const std::string& layout = "") {
    const std::string attribute =
        layout.empty() ? ""
                       : R"(<rt_info><attribute name="layout" version="0" layout=")" + layout +
                             R"("/></rt_info>)";
    return add(name, "Parameter", "shape=\"" + list(shape) + "\" element_type=\"" + type + "\"", {},
               shape, type, attribute);
  }
  /// One float of the weights, at `offset` bytes.
  int weight(const std::string& name, int offset) {
    return add(
        name, "Const",
        "element_type=\"f32\" shape=\"1\" offset=\"" + std::to_string(offset) + "\" size=\"4\"", {},
        {1}, "f32");
  }
  int binary(const std::string& name, const std::string& type, int left, int right,
             const Shape& shape, const std::string& element = "f32") {
    return add(name, type, "auto_broadcast=\"numpy\"", {left, right}, shape, element);
  }
  void result(int source, const Shape& shape, const std::string& type = "f32") {
    add("result" + std::to_string(count_), "Result", "", {source}, shape, type);
  }
  std::string str() const {
    return "<?xml version=\"1.0\"?><net name=\"tiny\" version=\"11\"><layers>" + layers_.str() +
           "</layers><edges>" + edges_.str() + "</edges></net>";
  }

 private:
  static std::string list(const Shape& shape) {
    std::string text;
    for (const int dimension : shape) text += (text.empty() ? "" : ",") + std::to_string(dimension);
    return text;
  }
  static std::string port(int id, const Shape& shape, const std::string& type,
                          const std::string& extra = "") {
    std::string upper = type == "f32" ? "FP32" : type == "u8" ? "U8" : "I32";
    std::string text = "<port id=\"" + std::to_string(id) + "\" precision=\"" + upper + "\">";
    for (const int dimension : shape) text += "<dim>" + std::to_string(dimension) + "</dim>";
    return text + extra + "</port>";
  }
  int add(const std::string& name, const std::string& type, const std::string& data,
          const std::vector<int>& sources, const Shape& shape, const std::string& element,
          const std::string& extra = "") {
    const int id = count_++;
    layers_ << "<layer id=\"" << id << "\" name=\"" << name << "\" type=\"" << type
            << "\" version=\"opset1\">";
    if (!data.empty()) layers_ << "<data " << data << "/>";
    if (!sources.empty()) {
      layers_ << "<input>";
      for (std::size_t i = 0; i < sources.size(); ++i) {
        layers_ << port(static_cast<int>(i), shape, element);
        edges_ << "<edge from-layer=\"" << sources[i] << "\" from-port=\"9\" to-layer=\"" << id
               << "\" to-port=\"" << i << "\"/>";
      }
      layers_ << "</input>";
    }
    if (type != "Result") layers_ << "<output>" << port(9, shape, element, extra) << "</output>";
    layers_ << "</layer>";
    return id;
  }

  int count_ = 0;
  std::ostringstream layers_;
  std::ostringstream edges_;
};

/// y = x + x: needs no weights.
inline std::string doublingNetwork(const Shape& shape, const std::string& type = "f32",
                                   const std::string& layout = "") {
  NetworkText text;
  const int x = text.parameter("x", shape, type, layout);
  text.result(text.binary("y", "Add", x, x, shape, type), shape, type);
  return text.str();
}

/// y = x * w, with the one weight at the start of the weights.
inline std::string scalingNetwork(const Shape& shape) {
  NetworkText text;
  const int x = text.parameter("x", shape);
  text.result(text.binary("y", "Multiply", x, text.weight("w", 0), shape), shape);
  return text.str();
}

}  // namespace OMB::test
