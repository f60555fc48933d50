#pragma once

#include <cstddef>
#include <map>
#include <string>

/// The tool set's configuration: keywords and their values, from one file.
///
/// The file has one setting per line, KEYWORD=value with nothing around the "="; everything from a
/// "#" on is a comment. Values are kept as strings, sizes in kilobytes. A look-up never fails: it
/// enters a missing keyword with an empty value. Before `init` the table is empty.
class CEnvConf {
 public:
  CEnvConf() = default;
  virtual ~CEnvConf();

  /// Reads the file that "MOXEL_CONF" names, or if that is empty
  /// "/opt/kardo/moxel/etc/moxel.conf", into the table, over its old content. Sets the directories
  /// "SaveArea" and "SaveCore", inserting the host name. With trace on, the log then shows most of
  /// the settings.
  ///
  /// False, with a log line and with messages through `gMsg` (which a tool initialises first), if
  /// the file cannot be opened (MXL10100E; the table is untouched) or at the first wrong line
  /// (MXL10101E, MXL10102E; the settings before it stay, directories and limits are not set). A
  /// line of more than 8192 characters is read in pieces, each counted and checked as a line. A
  /// read error counts as the end of the file.
  ///
  /// Keywords and values have 256 bytes at most. Sizes: see `convValueInt`; "MaxSendTotal" is 10240
  /// at most. Booleans: yes, no, on, off, true, false in any case, kept in lower case. Hours
  /// ("RCExtremeTime", "RCExtremeFrequency"): 1 to 99, else "0"; minutes ("RCWaitLimit"): 1 to
  /// 16383, else "180"; the value is kept up to "hour" or "min", the rest is cut off.
  bool init();

  /// Size of the line buffer of `init`.
  static constexpr std::size_t kLineBytes = 8193;

  /// Checks one line as read by `init`, at most `kLineBytes` long with its zero byte; changes it.
  /// Must not be null. Returns null if the line is right: `keyword` then names the setting, and
  /// `value` is what `init` stores; both are empty for a line that sets nothing. Otherwise returns
  /// the error in the log's words. Outside the class, only tools that check files need it.
  static const char* checkLine(char* line, std::string& keyword, std::string& value);

  /// `out` receives the value of `key`: as it is, as a number (base 10, leading digits, 0 if there
  /// are none, the nearest int if out of range), or as a truth value (`conv2Bool`). Each returns
  /// true.
  bool getValueString(std::string key, std::string& out);
  bool getValueInt(std::string key, int& out);
  bool getValueBool(std::string key, bool& out);

  /// Rewrites a size to KB in place and returns 1: digits, or digits directly followed by "kb" or
  /// "mb" in any case. 0 for anything else and for null. Plain and "mb" numbers are first clamped
  /// to the range of an int; "mb" then multiplies in 32 bits. At most 256 digits are examined. The
  /// text may grow ("2mb" becomes "2048"): `value` must hold 12 bytes at least.
  int convValueInt(char* value);

  /// The save area. The text stays valid until the value is set again.
  const char* getSaveAreaPath();

  /// Limits in KB; 0 if not configured.
  int getBigLimit();
  int getSmallLimit();

  /// Whether the save area is to be cleaned; false if not configured.
  bool needAutoClean();

  /// `out` receives `dir` with the first "$HOSTNAME$" replaced by the host name. `out` holds 4097
  /// bytes; a longer text is cut to 4096. For a null `dir` it receives the empty text. A null `out`
  /// does nothing.
  void setSaveArea(char* out, const char* dir);

  /// `out`, of 4097 bytes, receives the directory of crash dumps: what "dumpadm" says, else a
  /// savecore line of the start-up scripts, else "/var/crash/$HOSTNAME$", with the host name
  /// inserted and cut as by `setSaveArea`. The log shows which source it comes from. Returns true;
  /// false if `out` is null.
  bool setDefaultSaveCoreDir(char* out);

  /// `out`, of 1024 bytes at least, receives what "dumpadm" or a start-up script says, trimmed, or
  /// the empty text. Returns the exit code of the look-up's command, or -1 if it could not be run
  /// or an argument is null. A script's answer is the rest of its first savecore line as a shell
  /// echoes it, options included; the shell executes what it finds there, so a script must be as
  /// trusted as its caller. `script` goes into the command unquoted and must not come from an
  /// untrusted source; the command is cut at 4095 bytes.
  int lookUpSaveCoreDirFromDumpadm(char* out);
  int lookUpSaveCoreDirFromScript(const char* script, char* out);

  /// True if `fuser` finds a process that runs the file or has it open; false for null. `path` goes
  /// into a shell command unquoted and must not come from an untrusted source; the command is cut
  /// at 1023 bytes.
  bool isRunning(const char* path);

  /// `isRunning` for the crash dump saver and the system snapshot collector.
  bool isSavecoreRunning();
  bool isQzsnapRunning();

 private:
  void completeDirectories();
  void limitTransmission();
  void dump();

  std::map<std::string, std::string> m_values;
  std::string m_spare;  // deliberately unused and empty: existing tools rely on this size
};

/// The configuration of the process.
extern CEnvConf gEnv;
