// The smallest use of the framework.
#include <ombrel/ombrel.h>

int main() {
  const OMB::PluginManager manager;
  return 0;
}
