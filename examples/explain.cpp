// Explains an agent error: what the catalogue says of it, and its one line for logs.
//
// Shows how a tool uses the error record without the gateway client.

#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>

#include "IExtVekError.h"

namespace {

constexpr char kUsage[] =
    "usage: explain [-h] TYPE RM-CODE SS-CODE [MESSAGE]\n"
    "Explains the agent error of the transport TYPE (SMTP or HTTP) with the agent's result "
    "RM-CODE\n"
    "and the transport's code SS-CODE; MESSAGE is what the mail server sent. Then shows it on one\n"
    "line. The texts are EUC-JP: explain ... | iconv -f EUC-JP -t UTF-8\n"
    "Exit status 0, or 2 for a wrong use.\n";

constexpr int kExitUsage = 2;

// A record that nobody exchanges anything with.
class Record : public IExtVekError {
 public:
  int Communicate(unsigned long /*id*/, int /*a*/, int /*b*/, void* /*data*/) override { return 0; }
};

int misused(const char* problem, const char* argument) {
  std::fprintf(stderr, "explain: %s: %s\n%s", problem, argument, kUsage);
  return kExitUsage;
}

bool isNumber(const char* text) {
  char* end = nullptr;
  std::strtol(text, &end, 10);
  return end != text && *end == '\0';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "-h") {
    std::fputs(kUsage, stdout);
    return EXIT_SUCCESS;
  }
  if (argc < 4) return misused("too few arguments", argc == 1 ? "none given" : argv[argc - 1]);
  if (argc > 5) return misused("too many arguments", argv[5]);

  const std::string type = argv[1];
  if (type != "SMTP" && type != "HTTP") return misused("neither SMTP nor HTTP", argv[1]);
  for (const int code : {2, 3}) {
    if (!isNumber(argv[code])) return misused("no number", argv[code]);
  }

  Record record;
  record.setData({argv[2], type == "SMTP" ? "1" : "2", argv[3], argc == 5 ? argv[4] : ""});
  std::printf("%s", record.toString());
  std::printf("%s\n", record.toString1line());
  return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
