// A message file, read by the file bridge, beside a simple reader of its own.

#include <cstdint>
#include <map>

#include "Fuzz.h"
#include "ResourceBridgeImpFile.h"

namespace {

constexpr size_t kPiece = 511;

bool read(const std::string& bytes, std::map<std::string, std::string>& messages) {
  for (const std::string& line : contentLines(bytes, kPiece)) {
    const size_t tab = line.find('\t');
    if (tab != 9 || line.size() - 10 > 256) return false;
    std::string text = line.substr(10);
    for (size_t i = 0; i + 1 < text.size(); ++i) {
      if (text[i] == '\\' && text[i + 1] == 'n') {
        text[i] = ' ';
        text[++i] = '\n';
      }
    }
    messages[line.substr(0, 9)] = text;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static InputFile file;
  file.write(data, size);
  ResourceBridgeImpFile bridge;
  const int result = bridge.load("C", file.path());

  std::map<std::string, std::string> expected;
  const bool good = read(std::string(reinterpret_cast<const char*>(data), size), expected);
  REQUIRE(result == (good ? 0 : -1));
  for (const auto& [id, text] : expected) REQUIRE(text == bridge.getText(id.c_str()));
  REQUIRE(std::string(bridge.getText("MXL99999Z")).empty() || expected.count("MXL99999Z") != 0);
  return 0;
}
