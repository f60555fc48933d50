// The models of the fuzz targets, over every short text of the characters that matter to them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include "ConfigurationModel.h"
#include "Fuzz.h"
#include "IExtVekError.h"
#include "RecordModel.h"
#include "Scratch.h"
#include "ShellModel.h"
#include "TextModel.h"

namespace {

bool gWithoutProcesses = false;

}  // namespace

extern "C" decltype(fork()) __real_fork();
extern "C" decltype(fork()) __wrap_fork() { return gWithoutProcesses ? -1 : __real_fork(); }

extern "C" FILE* __real_popen(const char* command, const char* mode);
extern "C" FILE* __wrap_popen(const char* command, const char* mode) {
  return gWithoutProcesses ? nullptr : __real_popen(command, mode);
}

namespace {

// The characters of texts, one each; a character may also be a whole word.
using Alphabet = std::vector<std::string>;

Alphabet charactersOf(const std::string& text) {
  Alphabet characters;
  for (const char c : text) characters.emplace_back(1, c);
  return characters;
}

// Every text of up to `longest` characters, the shorter ones first, until `body` gives false.
void forEachText(const Alphabet& alphabet, size_t longest,
                 const std::function<bool(const std::string&)>& body) {
  for (size_t length = 0; length <= longest; ++length) {
    std::vector<size_t> characters(length, 0);
    size_t at = 0;
    do {
      std::string text;
      for (const size_t character : characters) text += alphabet[character];
      if (!body(text)) return;
      // The next of this length, as numbers are counted.
      at = 0;
      while (at < length && ++characters[at] == alphabet.size()) characters[at++] = 0;
    } while (at < length);
  }
}

TEST(SmallScopeTexts, AreAllThereOnce) {
  std::vector<std::string> texts;
  forEachText({"a", "bc"}, 2, [&](const std::string& text) {
    texts.push_back(text);
    return true;
  });
  EXPECT_EQ(texts, (std::vector<std::string>{"", "a", "bc", "aa", "bca", "abc", "bcbc"}));
}

// Nothing is logged: a directory is in the log's place, and the trace is off.
class SmallScope : public LogTest {
 protected:
  SmallScope() { std::filesystem::create_directory(logPath()); }

  // Has the model look at one text. False when there have been enough faults.
  bool check(const std::string& text, const std::function<void()>& model) {
    constexpr int kMostFaults = 3;
    try {
      model();
    } catch (const Fault& fault) {
      ADD_FAILURE() << testing::PrintToString(text) << "\n" << fault.what();
      ++m_faults;
    }
    return m_faults < kMostFaults;
  }

  // Every text of up to `longest` characters, each behind `head`.
  void checkEach(const Alphabet& alphabet, size_t longest,
                 const std::function<void(const std::string&)>& model,
                 const std::string& head = "") {
    forEachText(alphabet, longest, [&](const std::string& tail) {
      const std::string text = head + tail;
      return check(text, [&] { model(text); });
    });
  }

  // Every text beside every other one.
  void checkEachTwo(const Alphabet& alphabet, size_t longest, const Alphabet& otherAlphabet,
                    size_t otherLongest,
                    const std::function<void(const std::string&, const std::string&)>& model) {
    forEachText(otherAlphabet, otherLongest, [&](const std::string& other) {
      SCOPED_TRACE("beside " + testing::PrintToString(other));
      bool more = true;
      forEachText(alphabet, longest, [&](const std::string& text) {
        return more = check(text, [&] { model(text, other); });
      });
      return more;
    });
  }

 private:
  int m_faults = 0;
};

// ---- Paths ---------------------------------------------------------------------------------

class SmallScopePaths : public SmallScope {};

TEST_F(SmallScopePaths, AgreeWithTheModel) { checkEach(charactersOf("/.a"), 10, model::checkPath); }

TEST_F(SmallScopePaths, OfComponentsAgreeWithTheModel) {
  checkEach({"/", ".", "..", "a", "tmp"}, 6, model::checkPath);
}

TEST_F(SmallScopePaths, ShareWhatTheModelSays) {
  std::filesystem::create_directories(scratch.file("a/a"));
  checkEachTwo(charactersOf("/.a"), 4, charactersOf("/.a"), 4, model::checkTwoPaths);
}

TEST_F(SmallScopePaths, MatchPatternsAsTheModelSays) {
  checkEachTwo(charactersOf("*?/.a"), 4, charactersOf("/.a"), 4, model::checkPattern);
}

// ---- Strings -------------------------------------------------------------------------------

class SmallScopeStrings : public SmallScope {
 protected:
  SmallScopeStrings() : m_a("a", "=%$a\""), m_two("aa", "aa"), m_blank(" ", "blank") {}

 private:
  Environment m_a;
  Environment m_two;
  Environment m_blank;
};

TEST_F(SmallScopeStrings, AgreeWithTheModel) {
  checkEach(charactersOf(" \"=$%a"), 6, model::checkString);
}

TEST_F(SmallScopeStrings, OfLineEndsAgreeWithTheModel) {
  checkEach(charactersOf("\r\n a"), 6, model::checkString);
}

TEST_F(SmallScopeStrings, OfTwoBytesAgreeWithTheModel) {
  Alphabet bytes;
  for (int byte = 1; byte < 256; ++byte) bytes.emplace_back(1, static_cast<char>(byte));
  checkEach(bytes, 2, model::checkString);
}

TEST_F(SmallScopeStrings, AreTruthValuesAsTheModelSays) {
  checkEach(charactersOf("eEnNOorstuy1"), 4, model::checkString);
}

TEST_F(SmallScopeStrings, AreSplitAsTheModelSays) {
  checkEach(charactersOf(" \"=$%a"), 6, [](const std::string& text) {
    for (const int count : {0, 3}) model::checkStrings(text, "=", count);
  });
}

TEST_F(SmallScopeStrings, BesideOthersAgreeWithTheModel) {
  checkEachTwo(charactersOf(" \"=aA"), 4, charactersOf(" \"=aA"), 2,
               [](const std::string& text, const std::string& other) {
                 for (const int count : {-1, 0, 1, 2, 3}) model::checkStrings(text, other, count);
               });
}

TEST_F(SmallScopeStrings, OfNumbersAgreeWithTheModel) {
  checkEach(charactersOf("019"), 9, [](const std::string& digits) {
    model::checkNumber(strtoll(digits.c_str(), nullptr, 10));
    model::checkNumber(-strtoll(digits.c_str(), nullptr, 10));
  });
}

TEST_F(SmallScopeStrings, PassThroughTheShellAsTheModelSays) {
  constexpr size_t kTogether = 1000;
  for (const int wild : {0, 1}) {
    SCOPED_TRACE(wild);
    std::vector<std::string> texts;
    const auto flush = [&] {
      bool more = true;
      try {
        if (!texts.empty()) model::checkShell(texts, wild);
      } catch (const Fault&) {
        // Which of them it is.
        for (const std::string& text : texts) {
          more = more && check(text, [&] { model::checkShell({text}, wild); });
        }
      }
      texts.clear();
      return more;
    };
    forEachText(charactersOf("\"'\t ()|<>&#^`{}$\\*?[]%0a"), 3, [&](const std::string& text) {
      if (!text.empty()) texts.push_back(text);
      return texts.size() < kTogether || flush();
    });
    flush();
  }
}

// ---- The error record ----------------------------------------------------------------------

class SmallScopeRecord : public SmallScope {};

TEST_F(SmallScopeRecord, IsReadFromStreamsAsTheModelSays) {
  checkEach(charactersOf("012-\na"), 7, model::checkStream);
}

TEST_F(SmallScopeRecord, IsReadFromBlanksAsTheModelSays) {
  checkEach(charactersOf(std::string("1 +\n\0", 5)), 7, model::checkStream);
}

// What the stream does not tell stays.
TEST_F(SmallScopeRecord, IsReadIntoAFullOneAsTheModelSays) {
  const std::list<std::string> before = {"7", "1", "-7", "old"};
  model::Fields fields;
  size_t field = 0;
  for (const std::string& item : before) fields.set(field++, item);
  checkEach(charactersOf(std::string("1\na\0", 4)), 7, [&](const std::string& bytes) {
    model::Record record;
    record.setData(before);
    std::istringstream stream(bytes);
    stream >> record;
    model::require(model::readFrom(bytes, fields), record);
  });
}

// Behind what nearly fills the message, or the line.
TEST_F(SmallScopeRecord, IsReadFromLongLinesAsTheModelSays) {
  const size_t bytes = IExtVekError::kMessageBytes;
  constexpr size_t kLineBytes = 4096;
  for (const size_t length : {bytes - 3, kLineBytes - 4}) {
    for (const std::string lines : {"", "1\n", "1\n2\n3\n"}) {
      checkEach(charactersOf("1\n"), 6, model::checkStream, lines + std::string(length, 'm'));
    }
  }
}

TEST_F(SmallScopeRecord, IsReadFromListsAsTheModelSays) {
  checkEach(charactersOf("012- a|"), 6, [](const std::string& text) {
    const std::vector<std::string> items = model::cut(text, "|");
    model::checkItems(std::list<std::string>(items.begin(), items.end()));
  });
}

// ---- Sizes ---------------------------------------------------------------------------------

class SmallScopeSizes : public SmallScope {};

TEST_F(SmallScopeSizes, AgreeWithTheModel) {
  checkEach(charactersOf("09kmb#"), 6, model::checkSize);
}

// Around the ends of an int, and of an int of megabytes.
TEST_F(SmallScopeSizes, OfManyDigitsAgreeWithTheModel) {
  for (const std::string head : {"20971", "419430", "214748364", "922337203685477580"}) {
    checkEach(charactersOf("0459kmB"), 5, model::checkSize, head);
  }
}

// ---- The configuration ---------------------------------------------------------------------

// What is shown meanwhile does not reach the test's output.
class Silence {
 public:
  Silence() : m_output(dup(STDOUT_FILENO)) {
    static const int nowhere = open("/dev/null", O_WRONLY);
    fflush(stdout);
    dup2(nowhere, STDOUT_FILENO);
  }
  ~Silence() {
    fflush(stdout);
    dup2(m_output, STDOUT_FILENO);
    close(m_output);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int m_output;
};

class SmallScopeConfiguration : public SmallScope {
 protected:
  SmallScopeConfiguration() : m_file("MOXEL_CONF", "") { gWithoutProcesses = true; }
  ~SmallScopeConfiguration() override { gWithoutProcesses = false; }

  static void checkFile(const std::string& bytes) {
    const Silence silence;
    model::checkFile(bytes);
  }

 private:
  Environment m_file;
};

const Alphabet kKeywords = {"BigLimit",      "MaxSendTotal", "AutoCleaning",
                            "RCExtremeTime", "RCWaitLimit",  "SysLogFacility"};

TEST_F(SmallScopeConfiguration, LinesAgreeWithTheModel) {
  Alphabet alphabet = {" ", "=", "#", "0", "9", "-", "kb", "mb", "yes", "hour", "min"};
  alphabet.insert(alphabet.end(), kKeywords.begin(), kKeywords.end());
  checkEach(alphabet, 4, [](const std::string& line) {
    model::checkLine(line);
    model::checkLine(line + "\n");
  });
}

TEST_F(SmallScopeConfiguration, ValuesAgreeWithTheModel) {
  for (const std::string& keyword : kKeywords) {
    checkEach({" ", "\t", "=", "#", "0", "9", "-", "k", "M", "b", "hour", "min", "yes"}, 4,
              model::checkLine, keyword + "=");
  }
}

TEST_F(SmallScopeConfiguration, TruthValuesAgreeWithTheModel) {
  checkEach(charactersOf("aeflNnorstuy"), 5, model::checkLine, "AutoCleaning=");
}

// Behind what nearly fills the keyword, or the value.
TEST_F(SmallScopeConfiguration, LongLinesAgreeWithTheModel) {
  for (const std::string head : {"", "SysLogFacility="}) {
    checkEach({" ", "=", "#", "a"}, 6, model::checkLine, head + std::string(253, 'a'));
  }
}

TEST_F(SmallScopeConfiguration, FilesOfOneLineAgreeWithTheModel) {
  Alphabet alphabet = {" ", "=", "#", "\n", "9", "kb", "yes"};
  alphabet.insert(alphabet.end(), kKeywords.begin(), kKeywords.end());
  checkEach(alphabet, 4, checkFile);
}

TEST_F(SmallScopeConfiguration, FilesOfLinesAgreeWithTheModel) {
  checkEach({"BigLimit=9", "0", "MaxSendTotal=10240", "mb", "AutoCleaning=yes", "\n"}, 5,
            checkFile);
}

}  // namespace
