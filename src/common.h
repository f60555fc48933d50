#pragma once

/// @file
/// The common library's free functions: command execution, paths, strings and values, file trees,
/// file lists and sizes, time, numbers and console. The templates are in common_template.h.
/// `basename` for a lone `const char*` is the C library's, which <libgen.h> would replace by
/// another; `getch` clashes with <ncurses.h>: a source can include only one of the two.
///
/// Most functions have a character-pointer and a string form; the string form passes its characters
/// to the pointer form. Unless stated otherwise, an int result is 0 for success and -1 for failure,
/// a null argument gives the empty string, 0, -1 or false and an information line "invalid param"
/// in the log, and only exhausted memory throws (or ends the process, while `execGetLines` removes
/// the error output's file). Any thread may call the library, but only one call at a time.

#include <cstdarg>
#include <cstring>  // GNU basename
#include <list>
#include <map>
#include <string>
#include <vector>

// ---- Command execution ---------------------------------------------------------------------

/// Runs `command` through "/bin/sh" "-c", waits for it and returns its exit code: 0 to 255,
/// including the shell's own code (127 for a command not found); 1 if the shell itself could not be
/// started; -1 if `command` is null, if the pipe or the child could not be made, if a signal ended
/// the child, or if its status is lost (the caller ignores SIGCHLD; the log then shows the wait
/// status ffffffff).
///
/// `out` is cleared (not for a null command) and receives the lines of standard output without
/// their line ends, as read by `fgets` with 1024 bytes: a line of 1023 bytes or more becomes
/// several pieces, each a separate entry, and an empty entry follows a line of exactly 1023 bytes;
/// a piece that contains a zero byte ends there. At most `maxLines` entries are kept (negative:
/// all); the rest is read and dropped.
///
/// If `errLines` is null, the child has no standard error: descriptor 2 is closed, not the
/// caller's. Otherwise the list is cleared and receives the standard error output in the same way,
/// at most `maxErrLines` entries, through a temporary file under "/tmp"; if that cannot be made,
/// the list stays empty and the child runs without standard error.
///
/// Logged: a trace line before, two MXL90004L lines for every child, the trace lines of
/// `exitStatus`, MXL90003L and MXL90005L if pipe or child cannot be made, MXL90006L (by the child)
/// and MXL90007L if the error file cannot be opened. The log shows the command line, and others may
/// be able to read it: do not put passwords on a command line.
///
/// A failed exec is not logged and produces no lines. The child then ends through `exit(1)`: it
/// runs the caller's exit handlers and flushes the caller's streams. Its standard output and
/// standard error lead nowhere by then; unflushed data in the caller's other streams is written
/// twice.
///
/// The child has the caller's environment, working directory and standard input. There is no time
/// limit: the call waits until the command ends and its output is closed, also by any background
/// process. No descriptor stays open. If no child can be made, the error file stays in "/tmp",
/// because removing it needs a child too.
int execGetLines(std::list<std::string>& out, const char* command, int maxLines,
                 std::list<std::string>* errLines, int maxErrLines);

/// Runs `command` through `popen` and keeps the first line of its output, cut as by `execGetLines`;
/// the rest is read and dropped. Returns the exit code: 0 for a command that a signal ended, 255 if
/// its status is lost; -1 if `command` is null or cannot be started, and then `line` is untouched.
/// `line` is null or a buffer of at least 1024 bytes; it becomes empty if there is no output.
/// Nothing is logged.
int execGetLine(const char* command, char* line);

/// Exit code of a wait status if the process exited, else -1. Logs three trace lines.
int exitStatus(int wstat);

// ---- Paths ---------------------------------------------------------------------------------

/// `path` with runs of slashes made one and no trailing slash; "/" and the empty text stay.
std::string justifyPath(const char* path);
std::string justifyPath(std::string path);

/// The absolute form of `path` (relative ones start from the working directory) without ".", ".."
/// and surplus slashes. Works on the text alone: follows no links, and nothing need exist. "/"
/// becomes the empty string, and ".." removes even the root: "/../x" becomes "x", further ".."
/// remove nothing. Logs a trace line.
std::string getCanonicalPath(std::string path);

/// The parent directory: the text before the last slash, ignoring a trailing one; "/" if nothing is
/// left or there is no slash. Null gives the empty string, unlogged.
std::string parentPath(const char* path);
std::string parentPath(std::string path);

/// True if the first character is "/".
bool isFullPath(const char* path);
bool isFullPath(std::string path);

/// The text after the last slash; `dir` receives the text before it, "/" if the slash is the first
/// character, and the empty string if there is no slash. Paths may have any length. Null gives
/// empty strings, unlogged. A lone `const char*` calls the C library's `basename`.
std::string basename(const char* path, std::string& dir);
std::string basename(std::string path);
std::string basename(std::string path, std::string& dir);

/// Removes one trailing slash, even from "/". In place: 0, or -1 for null; as a copy: the empty
/// string for null. Unlogged.
int eraseLastSlash(char* path);
std::string eraseLastSlash(const char* path);

/// The working directory; "." if it is unknown or longer than 4095 bytes.
std::string getCwd();

/// The last component of `path` split at its last ".": the name before it, the extension after it.
/// Without a dot the whole component is the name; ".profile" has the empty name. Null gives empty
/// strings; only `retrieveExt2` logs it.
std::string retrieveName(const char* path, std::string& ext);
std::string retrieveName2(const char* path);
std::string retrieveExt(const char* path, std::string& name);
std::string retrieveExt2(const char* path);

/// True if `path` exists, links followed, and its mode has the directory bit (040000), as block
/// devices and sockets do too. Null gives false, unlogged.
bool isDir(const char* path);
bool isDir(std::string path);

/// True if `path` exists, links followed, and that bit is clear.
bool isFile(const char* path);
bool isFile(std::string path);

/// True if `access` with the real user and group grants `mode`. Null is logged as "filename is
/// NULL , mode=%08x". `isExecutable` asks for read and execute (5), `isReadable` for read (4).
bool isAccessible(const char* path, int mode);
bool isExecutable(const char* path);
bool isExecutable(std::string path);
bool isReadable(const char* path);
bool isReadable(std::string path);

/// True if `text` contains one of * [ ] ?. It must not be null.
bool hasWildCard(const char* text);
bool hasWildCard(std::string text);

/// First output line of "uname -n" and "domainname"; empty if there is none. `execGetLines` runs
/// them and logs its lines.
std::string getHostname();
std::string getDomainname();

/// True if the real user is root.
bool isAdmin();

// ---- Strings and values --------------------------------------------------------------------

/// A text as a printf argument, whatever its type.
inline const char* C(const char* s) { return s; }
inline const char* C(std::string& s) { return s.c_str(); }
inline const char* C(const std::string& s) { return s.c_str(); }

/// Removes white space at both ends in place. Does nothing for null, unlogged. The string form
/// returns the string's characters.
void trim(char* text);
char* trim(std::string& text);

/// `text` without one pair of enclosing double quotes. One lone double quote gives the empty text.
std::string trimQuote(const char* text);

/// Lowers the letters in place. Does nothing for null, unlogged.
void toLowerStr(char* text);

/// The text after the first "=" of `line`, trimmed in place: a pointer into `line`, or without "="
/// to an empty text elsewhere. `line` must not be null.
char* getValue(char* line);

/// `split` (common_template.h) into a vector. `delim` must not be null.
int split(const char* text, const char* delim, std::vector<std::string>& out, int count);

/// Splits at the first "=": `key` is trimmed, `value` is not. Both are empty if there is no "=".
/// Returns 1; 0 for null.
int splitKeyVal(const char* line, std::string& key, std::string& value);

/// `text` with every `quote` doubled. It must not be null.
std::string quoteEsc(const char* text, char quote);
std::string quoteEsc(std::string text, char quote);

/// `text` with a backslash before each of " ' tab space ( ) | < > & # ^ ` { } $ \ and, when `wild`
/// is not 0, before * ? [ ]. All else passes, including the semicolon, "!", "~", "=" and the line
/// feed: a text from an untrusted source is not safe in a command line. `text` must not be null.
std::string shellEsc(const char* text, int wild);
std::string shellEsc(const std::string& text, int wild);

/// True if the shell pattern matches the whole of `name`. Only a "/" matches a "/"; a backslash is
/// an ordinary character.
bool matchWild(const char* pattern, const char* name);

/// The longest common beginning of both texts.
std::string matchedString(const char* a, const char* b);

/// True if the last `n` characters are equal, ignoring case; `n` of 0 or less means all of `b`.
/// False if a text is shorter than `n`.
bool compareRightNoCase(const std::string& a, const std::string& b, int n);

/// True for "YES", "TRUE", "ON" in any case and for "1", without surrounding blanks.
bool conv2Bool(const char* text);

/// True if every character is a decimal digit or a letter respectively, and for the empty text.
bool isNumeric(const char* text);
bool isNumeric(std::string text);
bool isAlpha(const char* text);
bool isAlpha(std::string text);

/// Removes one line feed from the end of `line`, then one carriage return. Returns 0, or -1 for
/// null.
int eraseLastCRLF(char* line);

/// Value of an environment variable; empty if it is not set.
std::string getEnvValue(const char* name);

/// `text` with references to environment variables replaced by their values, which are not
/// replaced again: $NAME of letters, digits and "_" (no braces), and %NAME% of any characters; "%%"
/// becomes "%". A "$" before anything else stays, as does a "%" without a second one, together with
/// the rest of the text. Undefined variables are empty. Null gives the empty string, unlogged.
std::string replaceEnvValue(const char* text);

/// The value of `key`, or an empty text. It belongs to `table`, which is not changed.
const char* lookupString(const std::map<std::string, std::string>& table, const char* key);

/// printf into a string of any length, in a buffer of 1024 bytes that doubles until the text fits.
/// If there is no memory for the next size, the text is cut; if printf rejects the format, the text
/// ends there; null gives the empty string, unlogged. `vformat` takes a va_list and leaves it
/// unchanged.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string vformat(const char* fmt, va_list args) __attribute__((format(printf, 1, 0)));

// ---- File trees ----------------------------------------------------------------------------

/// 1 if the canonical form of `path` has three or more components below the root, or is strictly
/// inside "/tmp"; otherwise 0, and an MXL90008L line names `path` as given. A form that has lost
/// its root counts one component less. Here the empty path is the working directory.
int isAllowDelete(std::string path);

/// Removes `path` if `isAllowDelete` permits; returns 0 if not. The empty path is always refused.
///
/// Not recursive (`recursive` is not 1): the result of `unlink`, so -1 for a directory. Recursive:
/// removes everything that `find` lists under `path`, children first; returns the listing's exit
/// code if that is not 0, -1 at the first entry that cannot be removed (the rest stays), else 0. A
/// link to a directory or a socket counts as a directory and cannot be removed; dangling links are
/// skipped.
///
/// `path` goes into a shell command, quoted by `shellEsc`: a semicolon, a line feed, "*", "?", "[",
/// "]", "!", "~" and "=" pass unescaped. Names in the tree are read back line by line, in pieces of
/// 1023 bytes: a name that contains a line feed can name another file. A relative path that begins
/// with "-" or "!" is an expression to `find`; write "./-x". Neither `path` nor the names below it
/// may come from an untrusted source.
int removeFiles(const char* path, int recursive);

/// Makes a directory with mode 0755 less the process mask; with `recursive` 1 its missing parents
/// too, skipping components that exist, even as files. -1 for an empty, relative or null path, for
/// "/" and if a directory cannot be made (not recursive: also if it exists). Unlogged.
int makeDir(std::string path, int recursive);
int makeDir(char* path, int recursive);

/// Gives `dst` the times, owner and mode of `src`, as far as the system permits, and makes it as a
/// directory with its parents if it is missing; nothing is copied. 1, or 0 with a log line if `src`
/// cannot be examined, `dst` is a file (MXL90001L) or cannot be made (MXL90002L).
int dupDir(const char* src, const char* dst);

/// Unlinks the name that `shellEsc(path, 0)` returns, so it does not find a name with characters
/// that this escapes. 0 if a file was removed, else -1; a null path gives -1. `flag` is not used.
/// Unlogged.
int rmTempFile(std::string path, int flag);
int rmTempFile(char* path, int flag);

// ---- File lists and sizes ------------------------------------------------------------------

/// Sum of the sizes in bytes of the files among `paths` and, with `recursive` 1, of those in the
/// directories among them, at any depth; directories themselves count as 0. A file that cannot be
/// examined counts as 0 and is logged as by `getFileSize`, with an additional trace line.
///
/// Links are followed: their targets count once for each link, and a link to a directory above it
/// is followed until the system refuses the name. One directory is open at a time.
long long getTotalFileSize(const std::list<std::string>& paths, int recursive);

/// Kilobytes that "du -sk" prints for `dir`, 0 if it prints none; -1 for null, unlogged.
///
/// `dir` goes into the shell command unquoted: the shell interprets its special characters, and the
/// command is cut at 1023 bytes. It must not come from an untrusted source.
int getDirSize(const char* dir);

/// Deliberately proceeds only if `dir` does not exist, such as a text that the shell expands: -1 if
/// `dir` is empty or exists, or if a line that "ls -1" prints for it exists; else 0. `size`
/// receives a byte count, which is 0. With `patterns` not 0, "ls" also gets the patterns
/// urgent.*.tar (appended to `dir`), *.txt and express.*.tar.
///
/// `dir` goes into the shell command unquoted, whatever its length. It must not come from an
/// untrusted source.
int getDirFileSize(std::string dir, int& size, int patterns);

/// Free kilobytes on the file system of `path`, from "df" and "perl"; -1 for null and if they print
/// fewer than two lines. Unlogged.
///
/// `path` goes into the shell command unquoted, and the command is cut at 1023 bytes. It must not
/// come from an untrusted source.
int getFreeSize(const char* path);

/// Size of a file in bytes, links followed; -1 with the line "get file size error(%s,%s)" if it
/// cannot be examined, and for null.
long long getFileSize(const char* file);

/// The directory that all `paths` share, compared component by component; a path that is no
/// directory counts as its parent. A difference deliberately does not end the comparison: /a/x/c
/// and /a/y/c share /a/c. An empty list gives the empty string. Trace lines show each path and the
/// result.
std::string acquireSamePrefix(std::list<std::string>& paths);

// ---- Time, numbers and console -------------------------------------------------------------

/// `out` receives `value` in decimal with a "," between groups of three characters, counting the
/// sign as one: -123456 becomes "-,123,456". Returns the characters of `out`.
char* commas(long long value, std::string& out);

/// `out` receives the local time of `t` (seconds since the epoch; 0 means now) as
/// "YYYYMMDDhhmmss", or the empty text for a time without a local form. Returns the time used.
long getTimeStr(std::string& out, long t);

/// The local time of `t` (0 and, unlike above, negative values mean now) as "YYYY/MM/DD hh:mm:ss".
std::string getTimeStr(long t);

/// `out` receives the time of the last change of the file's content as "YYYY/MM/DD hh:mm:ss", links
/// followed. 0, or -1 with the line "get file date error(%s)" and an empty `out` if the file cannot
/// be examined.
int getFileDate(std::string path, std::string& out);

/// Turns "YYYYMMDDhhmmss" into "YYYY/MM/DD hh:mm:ss" by position. `compact` holds 14 characters,
/// `display` holds 20 bytes; neither is checked, and neither may be null. Returns 0.
int convDate(const char* compact, char* display);

/// Seconds since the epoch with microseconds, for differences.
double elapsedTime();

/// Waits for a line on standard input (not for a key) and drops it, up to 1023 bytes of it. Returns
/// 0, also at the end of the input.
int getch();

/// Logs every line as "prefix:line". Returns 1.
int logList(std::string prefix, std::list<std::string>& lines);

/// 1 for the first `limit` + 1 calls with this `key`, then 0. Counts the calls in `counts`, or if
/// it is null in a map that lives until the process ends and never forgets a key.
int atOnce(std::string key, std::map<std::string, int>* counts, int limit);
