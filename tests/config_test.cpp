// The configuration record, its file and the names of the backends.
#include "ombrel/model/config.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ombrel/model/backend_names.h"

#include "fixture_files.h"

namespace OMB {
namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST(EBackend, FindsExactNamesOnly) {
  const std::pair<const char*, EBackend::Value> names[] = {{"OV_CPU", EBackend::OV_CPU},
                                                           {"TF_CPU", EBackend::TF_CPU},
                                                           {"TF_GPU", EBackend::TF_GPU},
                                                           {"AUTO", EBackend::AUTO},
                                                           {"UNDEFINED", EBackend::UNDEFINED}};
  int value = 1;
  for (const auto& [name, backend] : names) {
    EXPECT_EQ(backend, value++);
    ASSERT_TRUE(EBackend::FindByName(name)) << name;
    EXPECT_EQ(*EBackend::FindByName(name), backend);
    EXPECT_STREQ(EBackend(backend).GetName(), name);
    const std::string text = name;
    for (const std::string& wrong : {text + " ", " " + text, text + "=", text.substr(1),
                                     text.substr(0, text.size() - 1), text + "X"}) {
      EXPECT_FALSE(EBackend::FindByName(wrong.c_str())) << wrong;
    }
  }
  for (const char* wrong : {"", " ", "=", "ov_cpu", "OV_CPU = 1"}) {
    EXPECT_FALSE(EBackend::FindByName(wrong)) << wrong;
  }
  EXPECT_EQ(EBackend(static_cast<EBackend::Value>(6)).GetName(), nullptr);
}

// Runs in a folder of its own, as relative paths are part of what is tested.
class ConfigTest : public testing::Test {
 protected:
  ConfigTest() : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder.path());
  }
  ~ConfigTest() override { std::filesystem::current_path(before_); }

  // What Read prints for a file of this content.
  std::string read(const std::string& content, const std::string& path = "app.cfg") {
    std::ofstream(path, std::ios::binary) << content;
    CaptureStdout();
    EXPECT_TRUE(config.Read(path.c_str()));
    return GetCapturedStdout();
  }

  static std::string withSlashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
  }

  std::string state() const {
    return std::to_string(config.GetBackend()) + "," + std::to_string(config.GetThreadCount()) +
           "," + config.GetDataPath();
  }

  FixtureFolder folder;
  Config config;

 private:
  std::filesystem::path before_;
};

TEST_F(ConfigTest, JoinsTheDataPathToTheFilesFolder) {
  std::filesystem::create_directory("conf");
  const std::string deep = folder.addDeep();
#if defined(_WIN32)
  const std::string drive = folder.path() + "\\", share = "\\\\?\\" + drive;
#else  // one long file name each
  const std::string drive = "C:\\p\\", share = "\\\\server\\share\\";
#endif
  const std::vector<std::vector<std::string>> table = {
      {"conf\\app.cfg", "models/", "conf/models/"},
      {"conf/app.cfg", "models/", "conf/models/"},
      {"conf\\app.cfg", ".", "conf/"},
      {"conf\\app.cfg", "./x", "conf/./x"},
      {"conf\\app.cfg", "/abs", "conf//abs"},
      {"conf\\app.cfg", "a\\b", "conf/a\\b"},
      {"conf\\app.cfg", "models", "conf/models"},
      {"app.cfg", ".", ""},
      {"app.cfg", "x/", "x/"},
      {folder.path() + "/app.cfg", ".", withSlashes(folder.path()) + "/"},
      {drive + "app.cfg", "x/", withSlashes(drive) + "x/"},
      {share + "app.cfg", "x/", withSlashes(share) + "x/"},
      {deep + "app.cfg", ".", withSlashes(deep)},
  };
  for (const auto& row : table) {
    EXPECT_EQ(read("DataPath " + row[1], row[0]), "");
    EXPECT_EQ(config.GetDataPath(), row[2]) << row[0] << " " << row[1];
  }
}

TEST_F(ConfigTest, ReadsPairsOfTokens) {
  const std::string unknownKey = "Ombrel: Unsupported config key named: ";
  const std::string unknownBackend = "Ombrel: Unsupported backend name: ";
  const struct {
    std::string content, state, printed;
  } table[] = {
      {"", "4,1,", ""},
      {" \t\n\v\f\r ", "4,1,", ""},
      {"DataPath d/ ThreadCount 4 EBackend TF_GPU", "3,4,d/", ""},
      {"\nThreadCount\v4\fEBackend\r\n\tOV_CPU\nDataPath\nd/\n\n", "1,4,d/", ""},
      {"ThreadCount 2 ThreadCount 3", "4,3,", ""},
      {"ThreadCount 2 ThreadCount", "4,2,", ""},
      {"EBackend TF_CPU EBackend UNDEFINED", "4,1,", ""},
      {"EBackend TF_CPU EBackend ov_cpu", "4,1,", unknownBackend + "ov_cpu\n"},
      {"threadcount 2 ThreadCount=4 x DataPath", "4,1,",
       unknownKey + "threadcount\n" + unknownKey + "ThreadCount=4\n"},
      {"# threads ThreadCount 2", "4,2,", unknownKey + "#\n"},
      {"# use two\nThreadCount 4\n", "4,1,", unknownKey + "#\n" + unknownKey + "two\n"},
      {"DataPath my data/ ThreadCount 3", "4,1,my", unknownKey + "data/\n"},
      {"ThreadCount 4\x1A\nEBackend OV_CPU", "1,4,", ""},  // no end of the file
      {std::string("ThreadCount\0 7 ", 15), "4,1,", unknownKey + "ThreadCount\n"},
  };
  for (const auto& row : table) {
    config = Config();
    EXPECT_EQ(read(row.content), row.printed) << row.content;
    EXPECT_EQ(state(), row.state) << row.content;
  }
}

TEST_F(ConfigTest, StoresTheThreadCountAsItConverts) {
  const std::pair<const char*, int> table[] = {{"0", 0},
                                               {"-3", -3},
                                               {"+5", 5},
                                               {"12abc", 12},
                                               {"abc", 0},
                                               {"--4", 0},
                                               {"0x10", 0},
                                               {"2147483648", 2147483647},
                                               {"-99999999999999999999", -2147483647 - 1}};
  for (const auto& [text, count] : table) {
    EXPECT_EQ(read(std::string("ThreadCount ") + text), "");
    EXPECT_EQ(config.GetThreadCount(), count) << text;
  }
}

TEST_F(ConfigTest, MergesFilesAndKeepsTheRecordOfAMissingOne) {
  read("ThreadCount 3 DataPath a/");
  read("EBackend OV_CPU DataPath b/");
  EXPECT_EQ(state(), "1,3,b/");
  for (const char* path : {"missing\\file.cfg", "", "."}) {
    CaptureStdout();
    EXPECT_FALSE(config.Read(path));
    EXPECT_EQ(GetCapturedStdout(), std::string("Ombrel: Missing config file named ") + path + "\n");
    EXPECT_EQ(state(), "1,3,b/");
  }
  const std::string longValue(1 << 20, 'x');
  EXPECT_EQ(read("DataPath " + longValue), "");
  EXPECT_EQ(config.GetDataPath(), longValue);
}

TEST(Config, MovesAndLimits) {
  Config config;
  config.SetBackend(EBackend::UNDEFINED);
  config.SetThreadCount(7);
  config.SetDataPath("a path that is too long to be kept inside the string itself/");
  config.SetDataPath(config.GetDataPath());
  Config& same = config;
  config = std::move(same);
  Config target;
  target = std::move(config);
  const Config copy(std::move(target));
  for (const Config* source : {&config, &target}) {
    EXPECT_EQ(source->GetDataPath(), "");
    EXPECT_EQ(source->GetThreadCount(), 7);
    EXPECT_EQ(source->GetBackend(), EBackend::UNDEFINED);
  }
  EXPECT_EQ(copy.GetDataPath(), "a path that is too long to be kept inside the string itself/");
  for (const int count : {-1, 0, 1}) {
    config.SetThreadCount(count);
    EXPECT_EQ(config.GetThreadCount(), 1);
  }
}

}  // namespace
}  // namespace OMB
