// Lists, sizes and removal of files; sizes are numbers of entries.

#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <map>
#include <string>

#include "Bench.h"
#include "common.h"
#include "common_template.h"
#include "floor.h"

namespace {

namespace fs = std::filesystem;
using bench::add;
using bench::keep;
using bench::Operation;

const std::vector<long> kSizes = {1000, 10000, 100000};

void makeFiles(const std::string& dir, long count) {
  for (long i = 0; i < count; ++i) {
    const int file = creat((dir + "/" + std::to_string(i)).c_str(), 0644);
    if (file == -1) std::abort();
    close(file);
  }
}

// One directory.
std::string flatTree(long size) {
  const std::string top = bench::scratch() + "/flat" + std::to_string(size);
  if (fs::create_directory(top)) makeFiles(top, size);
  return top;
}

// Ten levels of a directory with ten more beside the next level; a hundredth of the files in each.
std::string deepTree(long size, const std::string& name = "deep") {
  const std::string top = bench::scratch() + "/" + name + std::to_string(size);
  std::string level = top;
  if (!fs::create_directory(top)) return top;
  for (int depth = 0; depth < 10; ++depth) {
    level += "/" + std::to_string(depth);
    for (int leaf = 0; leaf < 10; ++leaf) {
      const std::string dir = level + "/leaf" + std::to_string(leaf);
      fs::create_directories(dir);
      makeFiles(dir, size / 100);
    }
  }
  return top;
}

// ---- Lists ---------------------------------------------------------------------------------

template <class Function>
bool onFlat(const char* row, const char* who, Function function) {
  return add(row, who, kSizes,
             [=](long size) { return Operation{[=, tree = flatTree(size)] { function(tree); }}; });
}

const bool lists[] = {
    onFlat("getFileList, flat", "moxel",
           [](const std::string& tree) {
             std::list<std::string> out;
             keep(getFileList(out, tree.c_str(), 1, 0, 0));
           }),
    onFlat("getFileList, flat", "filesystem",
           [](const std::string& tree) {
             std::list<std::string> out;
             for (const auto& entry : fs::directory_iterator(tree)) {
               if (!entry.is_directory()) out.push_back(entry.path().string());
             }
             keep(out.size());
           }),
    onFlat("getFileList, flat", "fts",
           [](const std::string& tree) {
             std::list<std::string> out;
             char* const roots[] = {const_cast<char*>(tree.c_str()), nullptr};
             FTS* walk = fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR | FTS_NOSTAT, nullptr);
             while (const FTSENT* entry = fts_read(walk)) {
               if (entry->fts_info != FTS_D && entry->fts_info != FTS_DP)
                 out.emplace_back(entry->fts_path);
             }
             fts_close(walk);
             keep(out.size());
           }),
    // The system calls alone: each entry is examined.
    onFlat("getFileList, flat", "floor",
           [](const std::string& tree) {
             struct stat status = {};
             keep(stat(tree.c_str(), &status));
             DIR* dir = opendir(tree.c_str());
             while (const dirent* entry = readdir(dir)) {
               keep(stat((tree + "/" + entry->d_name).c_str(), &status));
             }
             closedir(dir);
           }),
};

// ---- Sizes ---------------------------------------------------------------------------------

long long totalByFilesystem(const std::string& tree) {
  long long sum = 0;
  for (const auto& entry : fs::recursive_directory_iterator(tree)) {
    if (!entry.is_directory()) sum += static_cast<long long>(entry.file_size());
  }
  return sum;
}

long long totalByFts(const std::string& tree) {
  long long sum = 0;
  char* const roots[] = {const_cast<char*>(tree.c_str()), nullptr};
  FTS* walk = fts_open(roots, FTS_LOGICAL | FTS_NOCHDIR, nullptr);
  while (const FTSENT* entry = fts_read(walk)) {
    if (entry->fts_info == FTS_F) sum += entry->fts_statp->st_size;
  }
  fts_close(walk);
  return sum;
}

long long totalByDu(const std::string& tree) {
  char line[1024] = "";
  execGetLine(("du -sb " + tree).c_str(), line);
  return std::atoll(line);
}

// The system calls alone: each directory is read, the status of each entry asked for.
void statAll(const std::string& dir) {
  struct stat status = {};
  std::list<std::string> below;
  DIR* stream = opendir(dir.c_str());
  while (const dirent* entry = readdir(stream)) {
    if (entry->d_name[0] == '.') continue;
    keep(fstatat(dirfd(stream), entry->d_name, &status, 0));
    if (entry->d_type == DT_DIR) below.push_back(dir + "/" + entry->d_name);
  }
  closedir(stream);
  for (const std::string& name : below) statAll(name);
}

template <class Function>
bool onTrees(const char* who, Function function) {
  const auto at = [=](const char* row, auto tree) {
    return add(row, who, kSizes,
               [=](long size) { return Operation{[=, top = tree(size)] { function(top); }}; });
  };
  return at("getTotalFileSize, flat", flatTree) &&
         at("getTotalFileSize, deep", [](long size) { return deepTree(size); });
}

const bool totals[] = {
    onTrees("moxel", [](const std::string& tree) { keep(getTotalFileSize({tree}, 1)); }),
    onTrees("filesystem", [](const std::string& tree) { keep(totalByFilesystem(tree)); }),
    onTrees("fts", [](const std::string& tree) { keep(totalByFts(tree)); }),
    onTrees("du", [](const std::string& tree) { keep(totalByDu(tree)); }),
    onTrees("floor", [](const std::string& tree) { statAll(tree); }),
};

// ---- Removal -------------------------------------------------------------------------------

template <class Function>
bool onDoomed(const char* who, Function function) {
  return add("removeFiles", who, kSizes, [=](long size) {
    return Operation{[=] { function(bench::scratch() + "/doomed" + std::to_string(size)); },
                     [=] { deepTree(size, "doomed"); }};
  });
}

const bool removals[] = {
    onDoomed("moxel",
             [](const std::string& tree) {
               if (removeFiles(tree.c_str(), 1) != 0) std::abort();
             }),
    onDoomed("rm",
             [](const std::string& tree) { keep(bench::runCommand(("rm -rf " + tree).c_str())); }),
};

}  // namespace
