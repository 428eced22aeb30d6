// This process and the system it runs on.
#pragma once

#include <functional>
#include <string>

namespace moxtel {

// What a main calls first, before it opens anything: descriptors 0 to 2 are opened on /dev/null if they are
// closed (descriptor 0 means "no client" to the server, and a log line must not end in somebody's socket),
// writing to a connection that is gone gives an error, not a SIGPIPE, and how a child ended is known whatever
// the program that started this one did about it.
void prepareProcess();

// The parts of it. Only while there is one thread.
void openStandardDescriptors();
void ignoreBrokenPipes();
void heedEndsOfChildren();

// Blocks every signal on the calling thread, so that another thread handles them.
void blockSignals();

// Runs a program to its end and gives its exit status. When it lacks what it cannot do without, such as
// descriptors, threads or memory, standard error says which, and the status is 1.
int runProgram(const std::function<int()>& program);

// The process identifier. Any thread.
int processIdentifier();

// The program's name without its path. Any thread.
const std::string& processName();

// The folder that the running program lies in, without a slash at the end; empty if the system does not tell.
// Any thread.
std::string programFolder();

// The release of the kernel, as uname() tells it; empty if it does not. Any thread.
std::string kernelRelease();

}  // namespace moxtel
