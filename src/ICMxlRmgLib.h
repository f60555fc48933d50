#pragma once

#include <vector>

/// The file whose existence shows that the agent is installed; "/opt/ZQRNvek/lib/libvekcom.so".
extern const char* gVekLibraryPath;

/// True if `gVekLibraryPath` exists and its mode lacks the bit 0x4000: a regular file or a
/// character device counts, a directory, a block device or a socket does not.
bool isVekExist();

/// Installation test and library loading, as callers of the gateway client expect them. The agent's
/// library is linked, so loading and unloading do nothing.
class ICMxlRmgLib {
 public:
  ICMxlRmgLib() = default;
  virtual ~ICMxlRmgLib();

  /// Stores and returns the result of `isVekExist`.
  virtual bool isKardoInstalled();

  /// Returns 0.
  virtual int loadLibrary(const char* name);
  virtual void scenarioLoadLibraries();
  virtual void scenarioUnloadLibraries();

 protected:
  int m_reserved = 0;                    ///< 0; nothing uses it.
  bool m_installed = false;              ///< Last result of `isKardoInstalled`.
  std::vector<int> m_scenarioLibraries;  ///< Empty; nothing fills it.
};
