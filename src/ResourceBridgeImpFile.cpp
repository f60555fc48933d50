#include "ResourceBridgeImpFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "File.h"
#include "common.h"

namespace {

constexpr char kDefaultFile[] = "/opt/kardo/moxel/lib/locale/moxel_msg.C";
constexpr char kJapaneseFile[] = "/opt/kardo/moxel/lib/locale/moxel_msg.ja";
constexpr size_t kLineBytes = 512;
constexpr size_t kIdLength = 9;
constexpr size_t kTextLength = 256;

const char* fileFor(const char* lang) {
  if (lang == nullptr) lang = getenv("LANG");
  if (lang == nullptr) return kDefaultFile;
  // The second test deliberately stays, though it decides nothing that the first has not: it is the
  // rule as it is told.
  const bool japanese = strncmp(lang, "ja", 2) == 0 || strcmp(lang, "japanese") == 0;
  return japanese ? kJapaneseFile : kDefaultFile;
}

}  // namespace

ResourceBridgeImpFile::~ResourceBridgeImpFile() = default;

int ResourceBridgeImpFile::load(const char* lang, std::string file) {
  if (file.empty()) file = fileFor(lang);
  const File input(fopen(file.c_str(), "r"));
  if (input == nullptr) {
    fprintf(stderr, "message file open error %s\n", file.c_str());
    return -1;
  }

  int count = 0;
  char line[kLineBytes];
  while (fgets(line, sizeof line, input.get()) != nullptr) {
    line[strcspn(line, "#")] = '\0';
    trim(line);
    if (*line == '\0') continue;
    ++count;
    if (!addLine(line)) {
      fprintf(stderr, "message file format error(Line = %d)\n", count);
      return -1;
    }
  }
  return 0;
}

// False when the line has not the form of a message.
bool ResourceBridgeImpFile::addLine(char* line) {
  char* tab = strchr(line, '\t');
  if (tab == nullptr || tab - line != kIdLength || strlen(tab + 1) > kTextLength) return false;
  *tab = '\0';
  for (char* c = tab + 1; (c = strstr(c, "\\n")) != nullptr;) {
    *c++ = ' ';
    *c++ = '\n';
  }
  messages[line] = tab + 1;
  return true;
}

const char* ResourceBridgeImpFile::getText(int /*number*/) { return ""; }

const char* ResourceBridgeImpFile::getText(const char* id) {
  return id == nullptr ? "" : messages[id].c_str();
}

const char* ResourceBridgeImpFile::getTextOrg(const char* /*id*/) { return ""; }
