#pragma once

#include <list>
#include <string>

/// Owner of temporary files and directories: makes them under unique names, remembers them, and
/// removes them on request and when it is destroyed; a killed process leaves them behind.
///
/// If "MOXEL_NOT_DEL_TEMP" is set to anything but the empty text, they stay on disk. Every step
/// logs a trace line, and every failure to make something logs a line. For use by one thread.
class CTemp {
 public:
  CTemp() = default;

  /// Removes the rest as `delTempFile(nullptr)` does, and forgets it in any case. Exhausted memory
  /// here ends the process.
  virtual ~CTemp();

  CTemp(const CTemp&) = delete;
  CTemp& operator=(const CTemp&) = delete;

  /// Makes a file `dir`/`prefix`NNNNNN_ in at most ten attempts. Returns 1, or 0 when all failed.
  ///
  /// `path` receives the name; after a failure it is empty or, if the last step failed, the
  /// intended name. A null `dir` means "/tmp"; a missing directory is made with its parents. If
  /// `fd` is not null, it receives the descriptor of the open file, which then belongs to the
  /// caller; each attempt whose last step fails leaves such a descriptor open, and the file under
  /// its first name; `*fd` holds the last descriptor only. A null `prefix` fails. The name is at
  /// most 4095 bytes long.
  int getTempFile(std::string& path, const char* prefix, const char* dir, int* fd);

  /// Makes a directory `dir`/NNNNNN_ with mode 0755 less the process mask, likewise. `prefix` must
  /// not be null and is not used. An attempt fails if the name exists by then: it never returns
  /// what a stranger has made. Each attempt that gets a name deliberately leaves one descriptor
  /// open; callers that make many must leave room for these.
  int getTempDir(std::string& path, const char* prefix, const char* dir);

  /// One attempt; `type` 0 makes a file, any other value a directory. `*fd` is stored only if a
  /// file was opened. After a failure `path` is empty, or holds the intended name if only the last
  /// step (renaming the file, making the directory) failed.
  int getTemp_sub(std::string& path, const char* prefix, const char* dir, int* fd, int type);

  /// Removes every remembered path equal to `path`, or all if it is null, with everything below,
  /// and forgets them. Returns how many it tried. Touches nothing and returns 0 if
  /// "MOXEL_NOT_DEL_TEMP" is set. A path too shallow for `removeFiles` stays on disk.
  int delTempFile(const char* path);

 protected:
  std::list<std::string> tempFiles;  ///< What was made and not removed, oldest first.
};
