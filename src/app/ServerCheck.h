// `moxtelserverd --check`: tries everything that serving needs, and writes one line for each thing, with ✓, ✗
// and what helps, or – for what is not set. The library is only read. Core thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "library/Messages.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

class DnsSd;
class EventLoop;
class OpenLibrary;
class QVSocketServer;
class Timer;
class UserDefaults;
struct PublicationState;
struct WebSettings;

class ServerCheck final : private Messages {
 public:
  // Pictures of the library that are opened, spread over all of it.
  static constexpr int kPictures = 20;

  // Borrows all; without discovery nothing can be published.
  ServerCheck(EventLoop& loop, const UserDefaults& defaults, DnsSd* discovery, std::ostream& out);
  ~ServerCheck() override;

  // Calls finished once, within about half a minute, on a later turn of the loop; true: nothing is wrong. The
  // loop must run.
  void start(std::function<void(bool isGood)> finished);

 private:
  void showTitle(std::string_view title, std::string_view info) override;
  void good(std::string_view what);
  void bad(std::string_view what);
  void unset(std::string_view what);
  void checkLibrary();
  void checkPictures(OpenLibrary& library);
  void checkHelpers();
  void checkInterpreter();
  void checkPageOfBrowsers();
  void checkPageAddress(const WebSettings& web);
  void checkPort();
  std::int32_t portOfHandhelds() const;
  void published(const PublicationState& state);
  void finish();

  EventLoop& loop_;
  const UserDefaults& defaults_;
  DnsSd* discovery_;
  std::ostream& out_;
  SystemProcessRunner processes_;
  NotificationCenter notifications_;
  std::unique_ptr<QVSocketServer> server_;
  std::unique_ptr<Timer> patience_;
  std::function<void(bool)> finished_;
  std::string problem_;  // the last error that the library reported
  bool isGood_ = true;
};

}  // namespace moxtel
