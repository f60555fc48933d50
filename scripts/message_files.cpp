// Prints the compiled-in messages in the form of a message file, for the build: as the table has
// them, or, with a catalogue (.mo) as argument, as that translates them.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <string>

#include "MsgTable.h"

namespace {

using Texts = std::map<std::string, std::string>;

// The texts of a catalogue by their originals. A catalogue begins with a magic number, a version,
// the number of texts, and the places of two tables, of the originals and of the translations; a
// row of these has a text's length and place. Numbers have their low byte first.
Texts readCatalogue(const char* path) {
  constexpr uint32_t kMagic = 0x950412de;
  constexpr size_t kRowBytes = 8;
  std::ifstream file(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  const auto number = [&](size_t at) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
  };
  const auto text = [&](size_t row) { return bytes.substr(number(row + 4), number(row)); };

  Texts texts;
  if (bytes.empty() || number(0) != kMagic) return texts;
  const size_t originals = number(12);
  const size_t translations = number(16);
  for (size_t i = 0; i < number(8); ++i) {
    texts[text(originals + i * kRowBytes)] = text(translations + i * kRowBytes);
  }
  return texts;
}

// The message file's form of a line feed.
std::string inFileForm(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') {
      result += "\\n";
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const bool translated = argc == 2;
  Texts texts;
  if (translated) texts = readCatalogue(argv[1]);
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    const auto found = texts.find(row->text);
    if (translated && found == texts.end()) {
      std::fprintf(stderr, "message_files: %s is not translated\n", row->id);
      return 1;
    }
    const std::string text = translated ? found->second : row->text;
    std::printf("%s\t%s\n", row->id, inFileForm(text).c_str());
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
