#pragma once

/// @file
/// The common library's free functions: command execution, paths, strings and values, file trees.
/// The templates among them stand in common_template.h.
///
/// Most functions come in a character-pointer and a string form; the string form passes its
/// characters to the pointer form. Unless said otherwise an int result is 0 for success and -1 for
/// failure, a null argument gives the empty string, 0, -1 or false and an information line
/// "invalid param" in the log, and nothing but exhausted memory throws. For use by one thread.

#include <cstdarg>
#include <cstring>  // GNU basename
#include <list>
#include <string>

// ---- Command execution ---------------------------------------------------------------------

/// Runs `command` through "/bin/sh" "-c", waits for it and returns its exit code: 0 to 255, the
/// shell's own code (127 for a command not found) included; 1 when the shell itself could not be
/// started; -1 when `command` is null, when the pipe or the child could not be made, when a signal
/// ended the child, or when its status cannot be had (the caller ignores SIGCHLD; the log then
/// shows the wait status ffffffff).
///
/// `out` is cleared (not for a null command) and receives the lines of standard output without
/// their line ends, as `fgets` with 1024 bytes gives them: a line of 1023 bytes or more arrives in
/// several pieces, each an entry of its own, and one of exactly 1023 bytes is followed by an empty
/// entry; a piece that holds a zero byte ends there. At most `maxLines` entries are kept (negative:
/// all); the rest is read and dropped.
///
/// With `errLines` null the child has no standard error at all: descriptor 2 is closed, not the
/// caller's. Otherwise the list is cleared and receives the standard error output in the same way,
/// at most `maxErrLines` entries; it goes through a temporary file under "/tmp", and where that
/// cannot be made the list stays empty and the child runs without standard error.
///
/// Logged: a trace line before, two MXL90004L lines for every child, the trace lines of
/// `exitStatus`, MXL90003L and MXL90005L when pipe or child cannot be made, MXL90006L (by the
/// child) and MXL90007L when the error file cannot be opened. A failed exec is not logged; the
/// child then ends through `exit(1)`, the caller's exit handlers included. No descriptor stays
/// open.
int execGetLines(std::list<std::string>& out, const char* command, int maxLines,
                 std::list<std::string>* errLines, int maxErrLines);

/// Runs `command` through `popen` and keeps the first line of its output, as the lines of
/// `execGetLines` are; the rest is read and dropped. Returns the exit code: 0 for a command that a
/// signal ended, 255 when its status cannot be had; -1 when `command` is null or cannot be started,
/// and then `line` is untouched. `line` is null or a buffer of at least 1024 bytes; it becomes
/// empty when there is no output. Nothing is logged.
int execGetLine(const char* command, char* line);

/// Exit code of a wait status when the process ended by itself, else -1. Three trace lines.
int exitStatus(int wstat);

// ---- Paths ---------------------------------------------------------------------------------

/// `path` with runs of slashes made one and without a trailing slash; "/" and the empty text stay.
std::string justifyPath(const char* path);
std::string justifyPath(std::string path);

/// The absolute form of `path` (relative ones start from the working directory) without ".", ".."
/// and surplus slashes, by text alone: links are not followed and nothing need exist. "/" gives the
/// empty string, and ".." removes even the root: "/../x" gives "x", further ones remove nothing.
/// Writes a trace line.
std::string getCanonicalPath(std::string path);

/// The directory above: the text before the last slash, a trailing one not counted; "/" when
/// nothing is left or there is no slash. Null gives the empty string, unlogged.
std::string parentPath(const char* path);
std::string parentPath(std::string path);

/// True when the first character is "/".
bool isFullPath(const char* path);
bool isFullPath(std::string path);

/// Removes one trailing slash, from "/" too. In place: 0, or -1 for null; as a copy: the empty
/// string for null. Unlogged.
int eraseLastSlash(char* path);
std::string eraseLastSlash(const char* path);

/// The working directory, "." when it cannot be had or is longer than 4095 bytes.
std::string getCwd();

/// The last component without its extension, the part from its last "." on. Null gives the empty
/// string, unlogged.
std::string retrieveName2(const char* path);

/// True when `path` exists, links followed, and the directory bit of its mode (040000) is set, as
/// it is for block devices and sockets too. Null gives false, unlogged.
bool isDir(const char* path);
bool isDir(std::string path);

/// True when `path` exists, links followed, and that same bit is clear.
bool isFile(const char* path);
bool isFile(std::string path);

// ---- Strings and values --------------------------------------------------------------------

/// The texts of printf-style arguments, whichever kind of text they are.
inline const char* C(const char* s) { return s; }
inline const char* C(std::string& s) { return s.c_str(); }
inline const char* C(const std::string& s) { return s.c_str(); }

/// `text` with a backslash before each of " ' tab space ( ) | < > & # ^ ` { } $ \ and, when `wild`
/// is not 0, before * ? [ ]. All else passes, among it the semicolon, "!", "~", "=" and the line
/// feed: a text from an untrusted source is not safe in a command line. `text` must not be null.
std::string shellEsc(const char* text, int wild);
std::string shellEsc(const std::string& text, int wild);

/// True when every character is a decimal digit, and for the empty text.
bool isNumeric(const char* text);
bool isNumeric(std::string text);

/// Removes one line feed from the end of `line`, then one carriage return. Returns 0, or -1 for
/// null.
int eraseLastCRLF(char* line);

/// Value of an environment variable, empty when it is not set.
std::string getEnvValue(const char* name);

/// printf into a string, whole. When memory for it cannot be had, the text is cut; null, or a
/// format that printf rejects, gives what there is of it.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string vformat(const char* fmt, va_list args) __attribute__((format(printf, 1, 0)));

// ---- File trees ----------------------------------------------------------------------------

/// 1 when the canonical form of `path` has three components or more, or is strictly inside "/tmp";
/// otherwise 0 and an MXL90008L line that names `path` as given. The empty path is refused.
int isAllowDelete(std::string path);

/// Removes `path` if `isAllowDelete` lets it; a refusal gives 0.
///
/// Not recursive (`recursive` is not 1): the result of `unlink`, so -1 for a directory. Recursive:
/// everything that the shell's `find` lists under `path`, children first; the listing's exit code
/// when that is not 0, -1 at the first entry that cannot be removed (what follows stays), else 0.
/// A link to a directory or a socket counts as a directory and cannot be removed; dangling links
/// are passed over.
///
/// `path` stands in a shell command, quoted by `shellEsc`: a semicolon, a line feed, "*", "?", "[",
/// "]", "!", "~" and "=" pass unescaped. Names in the tree are read back line by line, in pieces of
/// 1023 bytes. Neither `path` nor the names below it may come from an untrusted source.
int removeFiles(const char* path, int recursive);

/// Makes a directory with mode 0755 less the process mask; with `recursive` 1 its missing parents
/// too, passing over components that exist, as files even. -1 for an empty, relative or null path,
/// for "/" and when a directory cannot be made (not recursive: also when it exists). Unlogged.
int makeDir(std::string path, int recursive);
int makeDir(char* path, int recursive);
