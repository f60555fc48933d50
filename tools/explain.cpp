// The command explain: shows the catalogue's explanation of an agent error.

#include <getopt.h>
#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "ExtErrCatalogue.h"
#include "IExtVekError.h"
#include "Tool.h"

namespace {

constexpr Tool kTool = {
    "explain",
    "usage: explain [--raw] TYPE RM-CODE SS-CODE [MESSAGE]\n"
    "       explain [--raw] --list [TYPE]\n"
    "       explain [--raw] -\n"
    "Explains the agent error of the transport TYPE (SMTP or HTTP) with the agent's result\n"
    "RM-CODE and the transport's code SS-CODE, and shows it on one line as logs have it. MESSAGE\n"
    "is what the mail server said. \"-\" reads records of four lines from standard input.\n"
    "  --list     list the catalogue: type, RM-CODE, SS-CODE and first line of each text\n"
    "  --raw      print the texts in EUC-JP rather than in the locale's code set\n"
    "  -h, --help, --version\n"
    "Exit status: 0; 1 when something cannot be read or written; 2 for wrong use.\n"};

constexpr char kTextCodeSet[] = "EUC-JP";
constexpr size_t kRecordLines = 4;

// Converts texts to another code set; a character without a counterpart becomes "?". If a code set
// or the conversion is missing, texts stay unchanged.
class Converter {
 public:
  Converter(const std::string& to, const std::string& from)
      : m_named(!to.empty() && !from.empty()), m_handle(iconv_open(to.c_str(), from.c_str())) {}
  ~Converter() {
    if (isOpen()) iconv_close(m_handle);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  std::string operator()(std::string text) const {
    if (!m_named || !isOpen()) return text;
    // A mail server's message is not for the terminal to obey.
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return c != '\n' && static_cast<unsigned char>(c) < ' '; }, '?');
    std::string result;
    char* in = text.data();
    size_t inLeft = text.size();
    while (inLeft > 0) {
      char buffer[kBufferBytes];
      char* out = buffer;
      size_t outLeft = sizeof buffer;
      const size_t converted = iconv(m_handle, &in, &inLeft, &out, &outLeft);
      const int error = errno;
      result.append(buffer, out);
      if (converted != static_cast<size_t>(-1) || error == E2BIG) continue;
      result += '?';
      ++in;
      --inLeft;
    }
    return result;
  }

 private:
  static constexpr size_t kBufferBytes = 1024;

  bool isOpen() const { return reinterpret_cast<std::intptr_t>(m_handle) != -1; }

  bool m_named;  // an empty name would be the locale's code set
  iconv_t m_handle;
};

// A record without any exchange.
class Record : public IExtVekError {
 public:
  int Communicate(unsigned long /*id*/, int /*a*/, int /*b*/, void* /*data*/) override { return 0; }
};

bool isType(const char* text) {
  return std::strcmp(text, "SMTP") == 0 || std::strcmp(text, "HTTP") == 0;
}

// Whether the text is a number that fits into an int.
bool isCode(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && errno == 0 && number >= INT_MIN && number <= INT_MAX;
}

void print(const std::string& text, const Converter& toLocale) {
  std::fputs(toLocale(text).c_str(), stdout);
}

void explain(Record& record, const Converter& toLocale) {
  if (*record.getLastSSErrTypeStr() == '\0') {
    std::printf("RL:%d, no error of a transport\n", record.getLastRMErrCode());
    return;
  }
  print(record.toString(), toLocale);
  print(std::string(record.toString1line()) + "\n", toLocale);
}

void list(const char* type, const Converter& toLocale) {
  for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) {
    if (type != nullptr && std::strcmp(row->type, type) != 0) continue;
    const std::string text = row->text == nullptr ? "" : row->text;
    std::printf("%s %5d %6d  ", row->type, row->rmCode, row->ssCode);
    print(text.substr(0, text.find('\n')) + "\n", toLocale);
  }
}

// Reads the lines of a record, over empty ones before it. Returns how many there are.
size_t readRecord(std::istream& in, std::vector<std::string>& lines) {
  lines.clear();
  for (std::string line; lines.size() < kRecordLines && std::getline(in, line);) {
    if (!lines.empty() || !line.empty()) lines.push_back(line);
  }
  return lines.size();
}

int complain(int record, const std::string& problem) {
  std::fprintf(stderr, "%s: standard input: record %d%s\n", kTool.name, record, problem.c_str());
  return kTool.finish(EXIT_FAILURE);
}

int explainRecords(const Converter& toLocale) {
  std::vector<std::string> lines;
  for (int number = 1; readRecord(std::cin, lines) > 0 && std::ferror(stdout) == 0; ++number) {
    if (lines.size() < kRecordLines) return complain(number, " is cut off");
    for (const size_t code : {0, 1, 2}) {
      if (!isCode(lines[code].c_str()))
        return complain(number, ": no number of 32 bits: " + lines[code]);
    }
    Record record;
    record.setData({lines.begin(), lines.end()});
    if (number > 1) std::printf("\n");
    explain(record, toLocale);
  }
  if (std::ferror(stdin) != 0) return kTool.failed("standard input", errno);
  return kTool.finish(EXIT_SUCCESS);
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  bool raw = false;
  bool listing = false;
  enum { kRaw = 'r', kList = 'l' };
  const option longOptions[] = {{"help", no_argument, nullptr, kHelp},
                                {"version", no_argument, nullptr, kVersion},
                                {"raw", no_argument, nullptr, kRaw},
                                {"list", no_argument, nullptr, kList},
                                {}};
  // "+": options end at the first argument, since codes are negative.
  for (int found = 0; (found = getopt_long(argc, argv, "+h", longOptions, nullptr)) != -1;) {
    switch (found) {
      case kRaw:
        raw = true;
        break;
      case kList:
        listing = true;
        break;
      default:
        return kTool.common(found);
    }
  }
  char** arguments = argv + optind;
  const int count = argc - optind;
  const bool fromInput = !listing && count > 0 && std::strcmp(arguments[0], "-") == 0;
  int least = 3;
  int most = 4;
  if (listing || fromInput) {
    least = fromInput ? 1 : 0;
    most = 1;
  }
  if (count < least)
    return kTool.misused("too few arguments", count == 0 ? "none" : arguments[count - 1]);
  if (count > most) return kTool.misused("too many arguments", arguments[most]);
  if (!fromInput && count > 0 && !isType(arguments[0])) {
    return kTool.misused("neither SMTP nor HTTP", arguments[0]);
  }

  const std::string codeSet = raw ? "" : nl_langinfo(CODESET);
  const Converter toLocale(raw ? "" : codeSet + "//TRANSLIT", kTextCodeSet);
  if (fromInput) return explainRecords(toLocale);
  if (listing) {
    list(count == 0 ? nullptr : arguments[0], toLocale);
    return kTool.finish(EXIT_SUCCESS);
  }

  for (const int code : {1, 2}) {
    if (!isCode(arguments[code])) return kTool.misused("no number of 32 bits", arguments[code]);
  }
  const Converter fromLocale(kTextCodeSet, codeSet);
  const bool mail = std::strcmp(arguments[0], "SMTP") == 0;
  Record record;
  record.setData({arguments[1], mail ? "1" : "2", arguments[2],
                  fromLocale(count == most ? arguments[3] : "")});
  explain(record, toLocale);
  return kTool.finish(EXIT_SUCCESS);
}
