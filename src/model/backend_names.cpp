#include "ombrel/model/backend_names.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace OMB {
namespace {

// As the enumerators are declared; what follows a name belongs to its declaration.
constexpr std::array<const char*, 5> kDeclarations{"OV_CPU = 1", "TF_CPU", "TF_GPU", "AUTO",
                                                   "UNDEFINED"};
constexpr std::array<EBackend::Value, 5> kValues{
    EBackend::OV_CPU, EBackend::TF_CPU, EBackend::TF_GPU, EBackend::AUTO, EBackend::UNDEFINED};
constexpr const char* kNameEnds = "= \t\n";

// The declarations, each with a comma behind it. Trimmed in place.
constinit char nameStore[] = "OV_CPU = 1,TF_CPU,TF_GPU,AUTO,UNDEFINED,";
constinit std::array<const char*, 5> names{};
constinit bool trimmed = false;

[[maybe_unused]] const bool trimmedAtLoad = (EBackend::InitNames(), true);

std::string_view nameIn(const char* declaration) {
  return {declaration, std::strcspn(declaration, kNameEnds)};
}

}  // namespace

void EBackend::InitNames() noexcept {
  if (trimmed) return;
  char* entry = nameStore;
  for (std::size_t i = 0; i < kDeclarations.size(); ++i) {
    names[i] = entry;
    entry[nameIn(kDeclarations[i]).size()] = '\0';
    entry += std::strlen(kDeclarations[i]) + 1;
  }
  trimmed = true;
}

std::optional<EBackend> EBackend::FindByName(const char* name) noexcept {
  for (std::size_t i = 0; i < kDeclarations.size(); ++i) {
    if (nameIn(kDeclarations[i]) == name) return kValues[i];
  }
  return std::nullopt;
}

const char* EBackend::GetName() const noexcept {
  // For whoever asks while other units of the library are still being initialised.
  InitNames();
  for (std::size_t i = 0; i < kValues.size(); ++i) {
    if (kValues[i] == value) return names[i];
  }
  return nullptr;
}

}  // namespace OMB
