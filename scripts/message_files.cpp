// Prints the compiled-in messages in the form of a message file, for the build: as the table has
// them, or, with the directory of the catalogues as argument, in Japanese.

#include <libintl.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "MsgTable.h"

namespace {

// The message file's form of a line feed.
std::string inFileForm(const char* text) {
  std::string result;
  for (; *text != '\0'; ++text) {
    if (*text == '\n') {
      result += "\\n";
    } else {
      result += *text;
    }
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const bool translated = argc == 2;
  if (translated) {
    // Any locale but C looks catalogues up.
    setenv("LANGUAGE", "ja", 1);
    if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
      std::fputs("message_files: there is no locale C.UTF-8\n", stderr);
      return 1;
    }
    bindtextdomain("moxel", argv[1]);
    bind_textdomain_codeset("moxel", "EUC-JP");
    textdomain("moxel");
  }
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    const char* text = translated ? gettext(row->text) : row->text;
    // A text that the catalogue has is never the caller's own.
    if (translated && text == row->text) {
      std::fprintf(stderr, "message_files: %s is not translated\n", row->id);
      return 1;
    }
    std::printf("%s\t%s\n", row->id, inFileForm(text).c_str());
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
