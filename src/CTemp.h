#pragma once

#include <list>
#include <string>

/// Owner of temporary files and directories: makes them under unique names, remembers them, and
/// removes them on request and when it is destroyed.
///
/// Where "MOXEL_NOT_DEL_TEMP" is set to anything but the empty text, they stay on disk. Every step
/// leaves a trace line in the log, and every failure to make something a line. For use by one
/// thread.
class CTemp {
 public:
  CTemp() = default;

  /// Removes what is left, as `delTempFile(nullptr)` does, and forgets it in any case. Memory that
  /// is exhausted meanwhile ends the process.
  virtual ~CTemp();

  CTemp(const CTemp&) = delete;
  CTemp& operator=(const CTemp&) = delete;

  /// Makes a file `dir`/`prefix`NNNNNN_ in at most ten attempts. Returns 1, or 0 when all failed.
  ///
  /// `path` receives the name; after a failure it is empty or, when the last step failed, the name
  /// intended. A null `dir` means "/tmp"; a missing directory is made with its parents. When `fd`
  /// is not null it receives the descriptor of the open file, which then belongs to the caller;
  /// each attempt whose last step fails leaves such a descriptor, and the file under its first
  /// name, behind; `*fd` has the last one only. A null `prefix` fails. The name is at most 4095
  /// bytes long.
  int getTempFile(std::string& path, const char* prefix, const char* dir, int* fd);

  /// Makes a directory `dir`/NNNNNN_ with mode 0755 less the process mask, likewise. `prefix` must
  /// not be null and is not used. A name that exists by then is a failed attempt: what a stranger
  /// has made is never handed out. Each attempt that gets a name leaves one descriptor open,
  /// deliberately: who makes many has to leave room for them.
  int getTempDir(std::string& path, const char* prefix, const char* dir);

  /// One attempt; `type` 0 makes a file, any other value a directory. `*fd` is stored only when a
  /// file was opened. After a failure `path` is empty, or holds the name intended when only the
  /// last step (renaming the file, making the directory) failed.
  int getTemp_sub(std::string& path, const char* prefix, const char* dir, int* fd, int type);

  /// Removes every remembered path equal to `path`, all of them when it is null, with all that is
  /// below, and forgets them. Returns how many it tried; 0, and nothing is touched, where
  /// "MOXEL_NOT_DEL_TEMP" says so. A path that is too shallow for `removeFiles` stays.
  int delTempFile(const char* path);

 protected:
  std::list<std::string> tempFiles;  ///< What was made and not removed, in the order of making.
};
