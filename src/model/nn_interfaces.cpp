// The destructors of what a host asks for by dynamic_cast. Each is the one place that its class's
// type information comes from, for every library of the process.
#include "ombrel/model/nn_compilation.h"
#include "ombrel/model/nn_description.h"
#include "ombrel/model/nn_siblings.h"
#include "ombrel/model/nn_tensors.h"

namespace OMB {

INNCompilation::~INNCompilation() = default;
INNDescription::~INNDescription() = default;
INNSiblings::~INNSiblings() = default;
INNTensors::~INNTensors() = default;

}  // namespace OMB
