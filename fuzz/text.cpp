// The text and path functions, on any texts.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "TextModel.h"

namespace {

void check(const std::string& a, const std::string& b, int count) {
  setenv("FUZZ_A", b.c_str(), 1);
  model::checkString(a);
  model::checkStrings(a, b, count);
  model::checkPattern(a, b);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const int count = input.ConsumeIntegralInRange<int>(-2, 6);
  const auto value = input.ConsumeIntegral<long long>();
  // C strings: what stands behind a zero byte does not count.
  const std::string b = input.ConsumeRandomLengthString(64).c_str();
  const std::string a = input.ConsumeRemainingBytesAsString().c_str();
  model::checkPath(a);
  model::checkPath(b);
  model::checkTwoPaths(a, b);
  check(a, b, count);
  check(b, a, count);
  model::checkNumber(value);
  return 0;
}
