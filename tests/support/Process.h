#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// Runs `body` in a forked child and returns the wait status; its result is the exit code.
int inChild(const std::function<int()>& body);

// Starts `body` in a forked child, which an exception aborts.
pid_t startChild(const std::function<int()>& body);

// Wait status of a child, ended or killed.
int waitFor(pid_t child);

// Exit code of a wait status, 0 to 255; -1: a signal ended the process.
int exitCode(int waitStatus);

// Starts `body` in a forked child, whose failed expectations print themselves and make its exit
// code 1.
pid_t startExpecting(const std::function<void()>& body);

// Runs `body` in such a child; the test fails, fatally, where it fails or does not come to its end.
void expectInChild(const std::function<void()>& body);

// Runs `body` in a forked child and tells of each of its system calls, by its number, before it is
// made. Returns the wait status.
int traceSystemCalls(const std::function<int()>& body, const std::function<void(long)>& onCall);

// Gives up root's rights, if there are any; for a child that must meet missing permissions.
void dropPrivileges();

// Moves a child into mounts and System V objects of its own; as root there in any case. Returns
// whether that could be done.
bool enterPrivateNamespace();

// Mounts an empty file system over `directory`, which may have to be made writable by `options`.
bool mountEmpty(const std::string& directory, unsigned long flags = 0,
                const std::string& options = "mode=0755");

// In a private namespace: has every "/bin/sh" write the command that it is given into `file`
// instead of running it.
bool noteShellCommands(const std::string& file);

// Numbers of the open descriptors of this process.
std::vector<int> openDescriptors();

// Whether this process has children, ended ones included.
bool hasChildren();

// Polls until `condition` holds; false after a minute.
bool eventually(const std::function<bool()>& condition);

// The semaphore set whose key comes from `path`; -1: there is none.
int setOf(const std::string& path);

// Processes that wait for that semaphore.
int waitersFor(const std::string& path);

// Numbers of the system calls behind a function of the C library.
extern const std::vector<int> kForkCalls;
extern const std::vector<int> kMkdirCalls;
extern const std::vector<int> kRenameCalls;
extern const std::vector<int> kSemgetCalls;
extern const std::vector<int> kUnlinkCalls;

// Makes system calls of these numbers fail with `error` in this process and its children; for a
// child of the test. Descriptors that are open already stay.
void denySystemCalls(const std::vector<int>& numbers, int error);

// Leaves exactly `count` descriptors to be opened; for a child of the test.
void leaveDescriptors(int count);
