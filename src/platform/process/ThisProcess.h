// This process and the system it runs on.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace moxtel {

// Every main calls this first, before it opens anything. Opens descriptors 0 to 2 on /dev/null if they are
// closed (descriptor 0 means "no client" to the server, and a log line must not be written into a socket),
// makes writing to a closed connection or beyond the limit for a file's size give an error instead of SIGPIPE
// or SIGXFSZ, and makes the exit status of children available even if the parent process ignored SIGCHLD.
void prepareProcess();

// The parts of prepareProcess(). Only while there is one thread.
void openStandardDescriptors();
void ignoreBrokenPipes();
void restoreChildSignal();

// Lets this process have `most` descriptors open, or as many as the system allows it. Does nothing if it may
// have more already. Once, while there is one thread.
void allowDescriptors(std::uint64_t most);
// Gives a child the limit from before allowDescriptors(): a program that calls select() fails with a
// descriptor from 1,024 on, and counts on the usual limit. Any thread.
void restoreDescriptorLimit(int child);

// Whether SIGHUP means that the user's terminal is closed: this process has a controlling terminal, and its
// parent did not ignore the signal, as nohup(1) does. To be asked before SIGHUP is handled.
bool endsWithItsTerminal();

// Where this process may: becomes another user for the rest of its life, with that user's groups, home folder
// and no privileges. False if there is no such user or this one is not root; then all is as it was. Throws
// std::runtime_error if the change fails half-way. Only while there is one thread.
bool becomeUser(const std::string& name);

// Blocks every signal on the calling thread, so that another thread handles them.
void blockSignals();

// Runs a program to its end and returns its exit status. When it throws, for lack of descriptors, threads or
// memory, standard error gets the reason, and the status is 1.
int runProgram(const std::function<int()>& program);

// Ends the process with status 0 when this time has passed, if it still runs: nothing is destroyed or
// written. The first call counts. Any thread.
void exitWithin(std::chrono::milliseconds time);

// The process identifier. Any thread.
int processIdentifier();

// The program's name without its path. Any thread.
const std::string& processName();

// The folder that the running program lies in, without a slash at the end; empty if it is unknown.
// Any thread.
std::string programFolder();

// The release of the kernel by uname(); empty if it is unknown. Any thread.
std::string kernelRelease();

}  // namespace moxtel
