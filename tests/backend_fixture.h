// A folder of models for the backend, in the clear and sealed.
#pragma once

#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "ombrel/model/backend.h"

#include "files.h"
#include "seal_command.h"
#include "support.h"

namespace OMB::test {

constexpr char kPluginList[] = "<ie><plugins></plugins></ie>";

/// A folder with a list of plug-ins, and the models that a test writes there.
class BackendTest : public testing::Test {
 protected:
  BackendTest() { folder.write("plugins.xml", kPluginList); }

  Config config() const {
    Config result;
    result.SetDataPath(folder / "");
    return result;
  }

  /// Writes a pair, and returns its base path.
  std::string pair(const std::string& name, const std::string& text,
                   const std::string& weights = "w") const {
    folder.write(name + ".xml", text);
    folder.write(name + ".bin", weights);
    return folder / name;
  }

  /// Seals a pair of any folder into the one named "sealed".
  void seal(const std::string& base) const {
    for (const char* extension : {".xml", ".bin"}) {
      tool::PendingFile out(sealed + extension);
      tool::sealFile(base + extension, out, key);
      out.finish();
      out.commit();
    }
  }

  std::unique_ptr<INNModel> load(const std::string& base, ByteVector callersKey = {}) const {
    unsigned char* bytes = callersKey.empty() ? nullptr : callersKey.data();
    return std::unique_ptr<INNModel>(
        Create({base.c_str(), bytes, static_cast<int>(callersKey.size()), config()}));
  }

  /// What loading prints; the model must not have loaded.
  Printed refusal(const std::string& base, ByteVector callersKey = {}) const {
    std::unique_ptr<INNModel> model;
    Printed printed = printedBy([&] { model = load(base, callersKey); });
    EXPECT_NE(model, nullptr);
    EXPECT_FALSE(model->IsLoaded());
    return printed;
  }

  TemporaryDirectory folder;
  const ByteVector key = fromHex("00112233445566778899aabbccddeeff");
  const std::string sealed = folder / "sealed";
};

inline std::unique_ptr<INNRunner> runnerOf(INNModel& model) {
  std::unique_ptr<INNRunner> runner(model.CreateRunner());
  EXPECT_NE(runner, nullptr);
  return runner;
}

inline std::vector<float> counted(int count) {
  std::vector<float> values(static_cast<std::size_t>(count));
  std::iota(values.begin(), values.end(), 1.0f);
  return values;
}

inline NNData viewOf(std::vector<float>& values) {
  return NNData(values.data(), 1, static_cast<int>(values.size()), 1, ImageUtils::ELayoutType::CHW,
                EDataType::FP32, true);
}

inline std::vector<float> run(INNRunner& runner, NNData image, int count) {
  const auto* output = static_cast<const float*>(runner.Run(&image));
  EXPECT_NE(output, nullptr);
  return output == nullptr ? std::vector<float>() : std::vector<float>(output, output + count);
}

/// The runner has to be ready, and to give twice of what it gets.
inline void expectDoubles(INNRunner& runner, int count) {
  ASSERT_TRUE(runner.IsReady());
  std::vector<float> values = counted(count);
  const std::vector<float> output = run(runner, viewOf(values), count);
  for (float& value : values) value *= 2;
  EXPECT_EQ(output, values);
}

/// Calls have to throw, with just this text.
template <typename Exception>
void expectThrow(const std::function<void()>& call, const char* text) {
  try {
    call();
    ADD_FAILURE() << "has to throw: " << text;
  } catch (const Exception& failure) {
    EXPECT_STREQ(failure.what(), text);
  }
}

}  // namespace OMB::test
