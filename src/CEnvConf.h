#pragma once

#include <cstddef>
#include <map>
#include <string>

/// The tool set's configuration: keywords and their values, from one file.
///
/// The file has a setting a line, KEYWORD=value with nothing around the "="; everything from a "#"
/// on is a comment. Values are kept as strings; sizes in kilobytes. A look-up never fails: a
/// keyword that is not there is entered with an empty value. Before `init` the table is empty.
class CEnvConf {
 public:
  CEnvConf() = default;
  virtual ~CEnvConf();

  /// Reads the file that "MOXEL_CONF" names, or when that is empty
  /// "/opt/kardo/moxel/etc/moxel.conf", over what the table holds, and sets the directories
  /// "SaveArea" and "SaveCore" with the host name in its place. With trace on the log then shows
  /// the settings.
  ///
  /// False, with a log line and with messages through `gMsg` (which a tool initialises first), when
  /// the file cannot be opened (MXL10100E; the table is untouched) or at the first line that is
  /// wrong (MXL10101E, MXL10102E; the settings before it stay, directories and limits are not set).
  /// A line of more than 8192 characters is read in pieces, each counted and checked as a line. An
  /// error of reading counts as the end of the file.
  ///
  /// Keywords and values have 256 bytes at most. Sizes: see `convValueInt`; "MaxSendTotal" is 10240
  /// at most. Booleans: yes, no, on, off, true, false in any case, kept in lower case. Hours
  /// ("RCExtremeTime", "RCExtremeFrequency"): 1 to 99, else "0"; minutes ("RCWaitLimit"): 1 to
  /// 16383, else "180"; what stands from "hour" or "min" on is cut off, what stands before it is
  /// kept.
  bool init();

  /// Size of the buffer that `init` reads a line with.
  static constexpr std::size_t kLineBytes = 8193;

  /// Checks one line as `init` reads it, at most `kLineBytes` long with its zero byte; changes it.
  /// Null when it is right: `keyword` then names the setting, and `value` is what `init` stores;
  /// both are empty for a line that sets nothing. Otherwise what is wrong, as the log tells it.
  /// Outside of the class, only tools that check files need it.
  static const char* checkLine(char* line, std::string& keyword, std::string& value);

  /// `out` receives the value of `key`: as it is, as a number (base 10, leading digits, 0 when
  /// there are none, the nearest int when it is out of range), or as a truth value (`conv2Bool`).
  /// Each returns true.
  bool getValueString(std::string key, std::string& out);
  bool getValueInt(std::string key, int& out);
  bool getValueBool(std::string key, bool& out);

  /// Rewrites a size to KB in place and returns 1: digits, or digits with "kb" or "mb" right behind
  /// in any case. 0 for anything else and for null. Plain and "mb" numbers are brought to the range
  /// of an int first; "mb" then multiplies in 32 bits. Up to 256 digits are looked at. The text may
  /// grow ("2mb" becomes "2048"): `value` must hold 12 bytes at least.
  int convValueInt(char* value);

  /// The save area. The text stays valid while the value is not set anew.
  const char* getSaveAreaPath();

  /// Limits in KB; 0 when not configured.
  int getBigLimit();
  int getSmallLimit();

  /// Whether the save area is to be cleaned; false when not configured.
  bool needAutoClean();

  /// `out` receives `dir` with the first "$HOSTNAME$" replaced by the host name. `out` holds 4097
  /// bytes; a longer text is cut to 4096. A null `dir` gives the empty text, a null `out` nothing.
  void setSaveArea(char* out, const char* dir);

  /// `out`, of 4097 bytes, receives the directory of crash dumps: what "dumpadm" says, else a
  /// savecore line of the start-up scripts, else "/var/crash/$HOSTNAME$", with the host name in its
  /// place and cut like that of `setSaveArea`. The log tells which. Returns true; false when it is
  /// null.
  bool setDefaultSaveCoreDir(char* out);

  /// `out`, of 1024 bytes at least, receives what "dumpadm" or a start-up script says, trimmed, or
  /// the empty text. Returns the exit code of the look-up's command, or -1 when it could not be run
  /// or an argument is null. A script's answer is the rest of its first savecore line as a shell
  /// echoes it, options included; the shell runs whatever stands there, so a script must be as
  /// trusted as its caller. `script` stands in the command as it is, which is cut at 4095 bytes,
  /// and must not come from an untrusted source.
  int lookUpSaveCoreDirFromDumpadm(char* out);
  int lookUpSaveCoreDirFromScript(const char* script, char* out);

  /// True when `fuser` finds a process that runs the file or has it open; false for null. `path`
  /// stands in a shell command as it is, which is cut at 1023 bytes, and must not come from an
  /// untrusted source.
  bool isRunning(const char* path);

  /// `isRunning` of the crash dump saver and of the system snapshot collector.
  bool isSavecoreRunning();
  bool isQzsnapRunning();

 private:
  void completeDirectories();
  void limitTransmission();
  void dump();

  std::map<std::string, std::string> m_values;
  std::string m_spare;  // deliberately unused and empty: tools are built with this size
};

/// The configuration of the process.
extern CEnvConf gEnv;
