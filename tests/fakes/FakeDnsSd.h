// A DNS-SD for tests: records the requests, and delivers the events of the test at once. One thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dnssd/DnsSd.h"

namespace moxtel {

class FakeDnsSd final : public DnsSd {
 public:
  ~FakeDnsSd() override;

  std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                       PublicationChanged changed) override;
  std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override;
  std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                      EventLoop::Duration timeout, ResolveEvents events) override;

  // The objects that exist now, oldest first.
  std::vector<ServiceDescription> published() const;
  std::vector<std::string> browsedTypes() const;
  std::vector<std::string> resolvedNames() const;
  EventLoop::Duration lastTimeout() const { return lastTimeout_; }

  // publish() returns null from now on.
  void refuseToPublish() { refusing_ = true; }

  // Deliver an event to every publication or browser, or to every resolution of that name.
  void changePublications(const PublicationState& state);
  void find(const std::string& name, bool moreComing = false);
  void lose(const std::string& name, bool moreComing = false);
  void answer(const ResolvedService& service);
  void failToResolve(const std::string& name, const std::string& reason);

 private:
  class FakePublication;
  class FakeBrowser;
  class FakeResolution;
  std::vector<FakePublication*> publications_;
  std::vector<FakeBrowser*> browsers_;
  std::vector<FakeResolution*> resolutions_;
  EventLoop::Duration lastTimeout_{};
  bool refusing_ = false;
};

}  // namespace moxtel
