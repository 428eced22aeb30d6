// dnssd-probe: the DNS-SD of this machine on the command line, for tests from outside.
//
//   dnssd-probe [--daemon | --embedded] publish NAME TYPE PORT
//   dnssd-probe [--daemon | --embedded] browse TYPE
//   dnssd-probe [--daemon | --embedded] resolve NAME TYPE
//
// Prints one line for each event, its parts separated by tabs; the first is the time in milliseconds since
// the start. Runs until SIGTERM or SIGINT, then ends cleanly ("ended"); resolve ends with its answer.
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dnssd/SystemDnsSd.h"
#include "platform/loop/CoreLoop.h"

namespace {

using namespace moxtel;
using namespace std::chrono_literals;

const auto start = std::chrono::steady_clock::now();

void print(const std::vector<std::string>& parts) {
  const auto passed = std::chrono::steady_clock::now() - start;
  std::string line = std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
  for (const std::string& part : parts) line += "\t" + part;
  std::puts(line.c_str());
  std::fflush(stdout);
}

std::string kindName(PublicationState::Kind kind) {
  switch (kind) {
    case PublicationState::Kind::Pending:
      return "pending";
    case PublicationState::Kind::Published:
      return "published";
    case PublicationState::Kind::Renamed:
      return "renamed";
    case PublicationState::Kind::Failed:
      return "failed";
  }
  return "?";
}

struct Probe {
  CoreLoop loop;
  std::unique_ptr<DnsSd> dnsSd;
  std::unique_ptr<Publication> publication;
  std::unique_ptr<Browser> browser;
  std::map<std::string, std::unique_ptr<Resolution>> resolutions;

  void publish(const std::string& name, const std::string& type, std::uint16_t port) {
    publication = dnsSd->publish({name, type, port}, [](const PublicationState& state) {
      print({kindName(state.kind), state.name, state.detail});
    });
  }

  void resolve(const std::string& name, const std::string& type, std::function<void()> answered) {
    resolutions[name] =
        dnsSd->resolve(name, type, 5s,
                       {[answered](const ResolvedService& service) {
                          std::vector<std::string> parts{"resolved", service.name, service.hostName,
                                                         std::to_string(service.port)};
                          for (const auto& address : service.addresses) parts.push_back(address);
                          print(parts);
                          answered();
                        },
                        [name, answered](const std::string& reason) {
                          print({"not-resolved", name, reason});
                          answered();
                        }});
  }

  void browse(const std::string& type) {
    browser = dnsSd->browse(type, {[this, type](const std::string& name, bool more) {
                                     print({"found", name, more ? "more" : "last"});
                                     resolve(name, type, [] {});
                                   },
                                   [this](const std::string& name, bool more) {
                                     print({"removed", name, more ? "more" : "last"});
                                     resolutions.erase(name);
                                   }});
  }

  bool run(const std::vector<std::string>& words) {
    if (words.size() == 4 && words[0] == "publish") {
      publish(words[1], words[2], static_cast<std::uint16_t>(std::atoi(words[3].c_str())));
    } else if (words.size() == 2 && words[0] == "browse") {
      browse(words[1]);
    } else if (words.size() == 3 && words[0] == "resolve") {
      resolve(words[1], words[2], [this] { loop.quit(); });
    } else {
      return false;
    }
    return true;
  }

  // In the order of a server that ends: the service is withdrawn first.
  void end() {
    publication.reset();
    print({"withdrawn"});
    browser.reset();
    resolutions.clear();
    dnsSd.reset();
    loop.quit();
  }
};

DnsSdChoice takeChoice(std::vector<std::string>& words) {
  if (words.empty() || !words[0].starts_with("--")) return DnsSdChoice::Best;
  const std::string word = words[0];
  words.erase(words.begin());
  return word == "--daemon" ? DnsSdChoice::Daemon : DnsSdChoice::Embedded;
}

// Waits for the signals that end the program, which every thread blocks.
void endOnSignal(Probe& probe, const sigset_t& signals) {
  int signal = 0;
  sigwait(&signals, &signal);
  probe.loop.post([&probe] { probe.end(); });
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);

  Probe probe;
  const DnsSdChoice choice = takeChoice(words);
  bool understood = true;
  probe.loop.post([&] {
    probe.dnsSd = makeSystemDnsSd(probe.loop, choice);
    understood = probe.run(words);
    if (!understood) probe.end();
  });
  std::thread waiter([&] { endOnSignal(probe, signals); });
  probe.loop.run();
  probe.publication.reset();
  probe.browser.reset();
  probe.resolutions.clear();
  probe.dnsSd.reset();
  pthread_kill(waiter.native_handle(), SIGTERM);
  waiter.join();
  print({"ended"});
  return understood ? 0 : 2;
}
