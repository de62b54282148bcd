// The configuration record, its file and the names of the backends.
#include "ombrel/model/config.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include <gtest/gtest.h>

#include "fixture_files.h"

namespace OMB {
namespace {

// Whether byte 0x1A ends a text.
#if defined(_WIN32)
constexpr bool kByteEnds = true;
#else
constexpr bool kByteEnds = false;
#endif

TEST(EBackend, FindsExactNamesOnly) {
  int value = 1;
  for (const std::string name : {"OV_CPU", "TF_CPU", "TF_GPU", "AUTO", "UNDEFINED"}) {
    const auto found = EBackend::FindByName(name.c_str());
    ASSERT_TRUE(found) << name;
    EXPECT_EQ(*found, value++);
    EXPECT_EQ(found->GetName(), name);
    for (const std::string& wrong : {name + " ", " " + name, name + "=", name.substr(1),
                                     name.substr(0, name.size() - 1), name + "X"}) {
      EXPECT_FALSE(EBackend::FindByName(wrong.c_str())) << wrong;
    }
  }
  for (const char* wrong : {"", " ", "=", "ov_cpu", "OV_CPU = 1"}) {
    EXPECT_FALSE(EBackend::FindByName(wrong)) << wrong;
  }
  EXPECT_EQ(EBackend(static_cast<EBackend::Value>(6)).GetName(), nullptr);
}

// Runs in a folder of its own, as relative paths are part of what is tested.
struct ConfigTest : testing::Test {
  ConfigTest() { std::filesystem::current_path(folder.path()); }
  ~ConfigTest() override { std::filesystem::current_path(before); }

  // What Read prints for a file of this content.
  std::string read(const std::string& content, const std::string& path = "app.cfg") {
    std::ofstream(path, std::ios::binary) << content;
    return test::printedBy([&] { EXPECT_TRUE(config.Read(path.c_str())); }).out;
  }

  static std::string stateOf(const Config& record) {
    return std::to_string(record.GetBackend()) + "," + std::to_string(record.GetThreadCount()) +
           "," + record.GetDataPath();
  }

  FixtureFolder folder;
  Config config;
  const std::filesystem::path before = std::filesystem::current_path();
};

TEST_F(ConfigTest, JoinsTheDataPathToTheFilesFolder) {
  std::filesystem::create_directory("conf");
#if defined(_WIN32)
  const std::string drive = folder.path() + "\\", share = "\\\\?\\" + drive;
#else  // one long file name each
  const std::string drive = "C:\\p\\", share = "\\\\server\\share\\";
#endif
  const std::string directories[] = {"",    "conf/", "conf\\",        folder.path() + "/",
                                     drive, share,   folder.addDeep()};
  for (std::string directory : directories) {
    const std::string file = directory + "app.cfg";
    std::replace(directory.begin(), directory.end(), '\\', '/');
    for (const char* value : {"models/", "models", "./x", "/abs", "a\\b"}) {
      EXPECT_EQ(read(std::string("DataPath ") + value, file), "");
      EXPECT_EQ(config.GetDataPath(), directory + value);
    }
    EXPECT_EQ(read("DataPath .", file), "");
    EXPECT_EQ(config.GetDataPath(), directory);
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
      {"EBackend TF_CPU EBackend UNDEFINED", "4,1,", ""},
      {"EBackend TF_CPU EBackend ov_cpu", "4,1,", unknownBackend + "ov_cpu\n"},
      {"threadcount 2 ThreadCount=4 x DataPath", "4,1,",
       unknownKey + "threadcount\n" + unknownKey + "ThreadCount=4\n"},
      {"# use two\nThreadCount 4\n", "4,1,", unknownKey + "#\n" + unknownKey + "two\n"},
      {"DataPath my data/ ThreadCount 3", "4,1,my", unknownKey + "data/\n"},
      {"ThreadCount 4\x1A\nEBackend OV_CPU", kByteEnds ? "4,4," : "1,4,", ""},
      {std::string("ThreadCount\0 7 ", 15), "4,1,", unknownKey + "ThreadCount\n"},
      // Thread counts as they convert.
      {"ThreadCount -3", "4,-3,", ""},
      {"ThreadCount +5", "4,5,", ""},
      {"ThreadCount 12abc", "4,12,", ""},
      {"ThreadCount abc", "4,0,", ""},
      {"ThreadCount 0x10", "4,0,", ""},
      {"ThreadCount 2147483648", "4,2147483647,", ""},
      {"ThreadCount -99999999999999999999", "4,-2147483648,", ""},
  };
  for (const auto& row : table) {
    config = Config();
    EXPECT_EQ(read(row.content), row.printed) << row.content;
    EXPECT_EQ(stateOf(config), row.state) << row.content;
  }
}

TEST_F(ConfigTest, MergesFilesAndKeepsTheRecordOfAMissingOne) {
  read("ThreadCount 3 DataPath a/");
  read("EBackend OV_CPU DataPath b/");
  EXPECT_EQ(stateOf(config), "1,3,b/");
  for (const std::string path : {"missing\\file.cfg", "", "."}) {
    const auto printed = test::printedBy([&] { EXPECT_FALSE(config.Read(path.c_str())); });
    EXPECT_EQ(printed.out, "Ombrel: Missing config file named " + path + "\n");
    EXPECT_EQ(stateOf(config), "1,3,b/");
  }
}

TEST_F(ConfigTest, MovesTakeThePathOnlyAndThreadCountsEndAtOne) {
  const std::string path = "a path that is too long to be kept inside the string itself/";
  config.SetBackend(EBackend::UNDEFINED);
  config.SetThreadCount(7);
  config.SetDataPath(path);
  config.SetDataPath(config.GetDataPath());
  Config& same = config;
  config = std::move(same);
  Config target;
  target = std::move(config);
  const Config last(std::move(target));
  EXPECT_EQ(stateOf(last), "5,7," + path);
  EXPECT_EQ(stateOf(config) + stateOf(target), "5,7,5,7,");
  for (const int count : {-1, 0, 1}) {
    config.SetThreadCount(count);
    EXPECT_EQ(config.GetThreadCount(), 1);
  }
}

}  // namespace
}  // namespace OMB
