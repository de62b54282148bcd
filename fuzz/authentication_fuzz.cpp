// A pair and its tags, of any bytes: only tags that were made of the whole with the key are taken,
// as one changed bit of theirs shows. The seeds are tags of the pair that kText and kWeights are.
#include <algorithm>

#include "ombrel/model/authentication.h"

#include "fuzz_input.h"

void OMB::fuzz::run(Input input) {
  constexpr unsigned char kKey[] = "fuzz fuzz fuzz !";
  constexpr unsigned char kText[] = "<net/>", kWeights[] = "weights";
  const std::size_t flipped = input.take<std::uint8_t>();
  ByteVector tags = input.rest();
  const auto verify = [&] { return verifyModel(ModelBytes{kText, kWeights, tags}, kKey, 16); };
  const Authenticity found = verify();
  REQUIRE(!found.Describe("model").empty());
  if (!found.IsAuthentic()) return;
  REQUIRE(tags.size() == 76 + 3 * 16);
  tags[flipped % tags.size()] ^= static_cast<unsigned char>(1 << flipped % 8);
  REQUIRE(!verify().IsAuthentic());
}
