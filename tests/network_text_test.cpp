// Which texts of networks reach the engine, and which are refused in front of it.
#include <string>

#include <gmock/gmock.h>

#include "backend_fixture.h"
#include "networks.h"

namespace OMB {
namespace {

using namespace std::string_literals;

using test::doublingNetwork;
using test::expectDoubles;
using test::runnerOf;

using Backend = test::BackendTest;

// In UTF-16 or UTF-32, by the size of a unit, with or without a byte order mark.
std::string widened(const std::string& text, std::size_t unit, bool bigEndian, bool marked) {
  std::string result;
  const auto add = [&](unsigned int character) {
    for (std::size_t i = 0; i < unit; ++i) {
      const std::size_t byte = bigEndian ? unit - 1 - i : i;
      result += static_cast<char>(byte < 4 ? character >> (8 * byte) & 0xFF : 0);
    }
  };
  if (marked) add(0xFEFF);
  for (const char c : text) add(static_cast<unsigned char>(c));
  return result;
}

TEST_F(Backend, TextsHaveToStartAsXmlDoes) {
  const std::string whole = doublingNetwork("1,3");
  const std::string root = whole.substr(whole.find("<net"));
  for (const char* start :
       {"", " \n", "\xEF\xBB\xBF", "<!-- of ours -->", "<?xml version=\"1.0\"?>",
        "\n<?xml\tversion = '1.1' encoding='UTF-8' ?>\r\n<!-- of ours -->\n", "<?ours mine?>",
        "<?xml-stylesheet href=\"of.ours\"?><!-- of ours -->", "<!DOCTYPE net>",
        "<?xml version=\"1.0\"?><?ours version=\"1.0\"?>"}) {
    EXPECT_TRUE(load(pair("model", start + root))->IsLoaded()) << start;
  }
  for (const char* start :
       {"net>", "\xBB", "<?xml version=\"1.0\"?>net>", "<?xm version=\"1.0\"?>",
        "<?xm version='1.0'?>", "<?xmlversion=\"1.0\"?>", "<?xml verson=\"1.0\"?>",
        "<?xml version \"1.0\"?>", "<?xml version=1.0?>", "<?xml version=\"1.0'?>",
        "<?xml version=\"2.0\"?>", "<?xml version=\"1.\"?>", "<?xml version=\"1.x\"?>",
        "<?xml version=\"1.0\">", "<?xml", "<![CDATA[of ours]]>", "<!-- of ours -->."}) {
    EXPECT_EQ(refusal(pair("model", start + root)).error,
              "The network's text does not start as XML does\n")
        << start;
  }
  EXPECT_EQ(refusal(pair("model", "<nut/>" + root)).error,
            "The root of the network's text is 'nut' and not 'net'\n");
  EXPECT_EQ(refusal(pair("model", "<net/>")).error, "The network has no input or no output\n");
}

// What other readers of the engine would look for, and a root that is not where it seems to be.
TEST_F(Backend, TextsOfOtherKindsDoNotReachTheEngine) {
  const std::string whole = doublingNetwork("1,3");
  const std::string root = whole.substr(whole.find("<net"));
  for (const std::string& text :
       {std::string("\x08\x07\x12\x07pytorch\x1A\x03"
                    "2.0:\x10\x0A\x01x\x12\x01y\"\x03"
                    "Add"),
        std::string("\n\x0E\n\x01x\x12\x0BPlaceholder"), std::string("\x1C\0\0\0TFL3", 8),
        std::string("\0", 1), std::string("\0\0\0\0", 4) + root, "<!--" + root + "-->",
        "<!--" + root, "<![CDATA[" + root + "]]>", "<?xml " + root + "?>",
        "<!DOCTYPE net [" + root + "]>", "< net/>"s, "{\"net\":1}"s}) {
    EXPECT_EQ(refusal(pair("other", text)).error, "The network's text does not start as XML does\n")
        << text;
  }
  for (const char* name : {"network", "Net", "ne", "a:net"}) {
    const std::string text = "<" + std::string(name) + ">" + root + "</" + name + ">";
    EXPECT_EQ(refusal(pair("other", text)).error,
              "The root of the network's text is '" + std::string(name) + "' and not 'net'\n");
  }
  EXPECT_TRUE(load(pair("commented", "<!-- <net/> -->" + root))->IsLoaded());
}

// The engine refuses two of them inside each other already, and crashes on some thousand.
TEST_F(Backend, BodiesInBodiesAreRefusedBeforeTheyOverflowTheStack) {
  const std::string told = "The network's text nests bodies more than 64 deep\n";
  const auto nested = [](int depth, const std::string& body) {
    std::string start, end;
    for (int i = 0; i < depth; ++i) {
      start += "<layer id=\"1\" name=\"l\" type=\"If\" version=\"opset8\"><" + body + "><layers>";
      end += "</layers></" + body + "></layer>";
    }
    return "<net name=\"n\" version=\"11\"><layers>" + start + end + "</layers></net>";
  };
  for (const char* body : {"body", "then_body", "else_body"}) {
    EXPECT_NE(refusal(pair("deep", nested(64, body))).error, told);
    for (const int depth : {65, 3000, 30000}) {
      EXPECT_EQ(refusal(pair("deep", nested(depth, body))).error, told) << body << depth;
    }
  }
  EXPECT_EQ(refusal(pair("deep", widened(nested(3000, "body"), 2, true, true))).error, told);
  // Side by side there may be as many as a network needs.
  std::string many = doublingNetwork("1,3");
  std::string apart;
  for (int i = 0; i < 1000; ++i) apart += "<body><layers/></body>";
  EXPECT_TRUE(load(pair("wide", many.insert(many.find("</net>"), apart)))->IsLoaded());
}

// The engine reads them, so their start is told from another initialisation vector as well.
TEST_F(Backend, TextsMayHaveWideCharacters) {
  const std::string whole = doublingNetwork("1,3");
  for (const std::size_t unit : {std::size_t{2}, std::size_t{4}}) {
    for (const bool bigEndian : {false, true}) {
      for (const bool marked : {false, true}) {
        SCOPED_TRACE(testing::Message() << unit << bigEndian << marked);
        const std::string wide = widened(whole, unit, bigEndian, marked);
        const auto model = load(pair("wide", wide));
        ASSERT_TRUE(model->IsLoaded());
        expectDoubles(*runnerOf(*model), 3);
        std::string garbled = wide;
        for (std::size_t i = 0; i < 16; ++i) garbled[i] ^= static_cast<char>(i * 37 + 11);
        refusal(pair("garbled", garbled));
      }
    }
  }
}

}  // namespace
}  // namespace OMB
