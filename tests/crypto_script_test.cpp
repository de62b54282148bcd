// Crypto over a scripted system: every step is made to fail alone, and what is done, printed and
// returned is compared. What the steps are given shows over the real one.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ombrel/platform/crypto.h"

#include "support.h"
#include "system/cipher.h"
#include "system/digest.h"

namespace {

std::string failing;  // the step that fails, or nothing
std::string events;   // the steps so far, each with a blank behind

OMB::system::Status record(const std::string& step) {
  events += step + " ";
  return step == failing ? static_cast<OMB::system::Status>(0xC0DE0001) : 0;
}

}  // namespace

namespace OMB::system {

struct Cipher::Parts {};
Cipher::Cipher() noexcept = default;
Cipher::~Cipher() {
  record("end");
}
Status Cipher::open() {
  return record("OpenAlgorithmProvider");
}
Status Cipher::getObjectLength() {
  return record("GetProperty:object");
}
bool Cipher::allocateObject() {
  return record("allocate:object") == 0;
}
Status Cipher::getBlockLength(std::uint32_t& length) {
  length = 16;
  return record("GetProperty:block");
}
bool Cipher::copyIv(const unsigned char* /*iv*/) {
  return record("allocate:iv") == 0;
}
Status Cipher::setChainingMode() {
  return record("SetProperty");
}
Status Cipher::generateKey(const unsigned char* /*key*/, std::uint32_t /*size*/) {
  return record("GenerateSymmetricKey");
}
Status Cipher::decrypt(const unsigned char* input, std::uint32_t size, unsigned char* output,
                       std::uint32_t outputSize, std::uint32_t& resultSize) {
  resultSize = size;
  if (output == nullptr) return record("Decrypt:size");
  EXPECT_EQ(outputSize, size);
  std::memmove(output, input, size);
  return record("Decrypt");
}

struct Digest::Parts {
  unsigned char value[32];
};
Digest::Digest() noexcept = default;
Digest::~Digest() {
  record("end");
}
Status Digest::open() {
  return record("OpenAlgorithmProvider");
}
Status Digest::getObjectLength() {
  return record("GetProperty:object");
}
bool Digest::allocateObject() {
  return record("allocate:object") == 0;
}
Status Digest::getDigestLength(std::uint32_t& length) {
  length = 32;
  return record("GetProperty:digest");
}
bool Digest::allocateDigest() {
  return record("allocate:digest") == 0;
}
Status Digest::create() {
  return record("CreateHash");
}
Status Digest::add(const unsigned char* /*input*/, std::uint32_t /*size*/) {
  return record("HashData");
}
Status Digest::finish() {
  parts = std::make_unique<Parts>();
  std::ranges::fill(parts->value, static_cast<unsigned char>('d'));
  return record("FinishHash");
}
const unsigned char* Digest::value() const noexcept {
  return parts->value;
}

}  // namespace OMB::system

namespace OMB {
namespace {

std::string messageOf(const std::string& step) {
  if (step.empty()) return "";
  if (step.starts_with("allocate")) return "**** memory allocation failed\n";
  return "**** Error 0xc0de0001 returned by BCrypt" + step.substr(0, step.find(':')) + "\n";
}

// Runs the operation on 32 bytes with one step failing, and compares what is done and printed.
template <typename Operation>
ByteVector runWith(const std::string& step, const std::string& done, const std::string& message,
                   const Operation& operation) {
  SCOPED_TRACE(step);
  failing = step;
  events.clear();
  ByteVector input(32, 'x'), result;
  input.back() = 2;
  const auto printed = test::printedBy([&] { result = operation(input.data()); });
  EXPECT_EQ(events, done + "end ");
  EXPECT_EQ(printed.out, message);
  EXPECT_EQ(printed.error, "");
  return result;
}

// Expects this result of all that succeeds, and after any step but the last that fails an empty
// one.
template <typename Operation>
void failEach(const std::vector<std::string>& steps, const ByteVector& afterTheLast,
              const ByteVector& result, const Operation& operation) {
  std::string done;
  for (const std::string& step : steps) {
    done += step + " ";
    EXPECT_EQ(runWith(step, done, messageOf(step), operation),
              &step == &steps.back() ? afterTheLast : ByteVector());
  }
  EXPECT_EQ(runWith("", done, "", operation), result);
}

ByteVector decrypt(unsigned char* input, int ivSize) {
  unsigned char iv[20] = {}, key[16] = {};
  return Crypto::decryptBuffer(input, 32, iv, ivSize, key, sizeof(key));
}

ByteVector decryptInPlace(unsigned char* input) {
  unsigned char iv[16] = {}, key[16] = {};
  return Crypto::decryptBuffer(ByteVector(input, input + 32), iv, sizeof(iv), key, sizeof(key));
}

TEST(CryptoScript, ADecryptionEndsAtTheStepThatFails) {
  const std::vector<std::string> steps = {
      "OpenAlgorithmProvider", "GetProperty:object", "allocate:object",
      "GetProperty:block",     "allocate:iv",        "SetProperty",
      "GenerateSymmetricKey",  "Decrypt:size",       "Decrypt"};
  // The last can fail with the whole length already there: its trailing bytes stay on.
  ByteVector whole(32, 'x');
  whole.back() = 2;
  failEach(steps, whole, ByteVector(30, 'x'),
           [](unsigned char* input) { return decrypt(input, 20); });
  // Where it would be what is left of the ciphertext, it is zero.
  failEach(steps, ByteVector(32, 0), ByteVector(30, 'x'), decryptInPlace);
  const std::string start =
      "OpenAlgorithmProvider GetProperty:object allocate:object GetProperty:block ";
  EXPECT_EQ(runWith("", start, "**** block length is longer than the provided IV length\n",
                    [](unsigned char* input) { return decrypt(input, 15); }),
            ByteVector());
}

TEST(CryptoScript, ADigestEndsAtTheStepThatFails) {
  failEach({"OpenAlgorithmProvider", "GetProperty:object", "allocate:object", "GetProperty:digest",
            "allocate:digest", "CreateHash", "HashData", "FinishHash"},
           {}, ByteVector(32, 'd'),
           [](unsigned char* input) { return Crypto::hashBuffer(input, 32); });
}

}  // namespace
}  // namespace OMB
