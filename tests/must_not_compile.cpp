// One statement over the public headers, which must_not_compile.cmake gives.
#include "ombrel/ombrel.h"

void use(OMB::Library& library, OMB::PluginManager& manager, OMB::Plugin& plugin,
         const OMB::HashChecker& checker, OMB::INNModel& model, OMB::INNRunner& runner,
         OMB::Config& config, const unsigned char* bytes, float* floats) {
  STATEMENT;
}
