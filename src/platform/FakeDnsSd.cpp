#include "platform/FakeDnsSd.h"

#include <algorithm>
#include <utility>

namespace moxtel {

namespace {

// An object that stands in a list of its maker while it lives.
template <class Object>
class Listed {
 public:
  explicit Listed(std::vector<Object*>& list) : list_(list) { list_.push_back(static_cast<Object*>(this)); }
  Listed(const Listed&) = delete;
  Listed& operator=(const Listed&) = delete;

 protected:
  ~Listed() { std::erase(list_, static_cast<Object*>(this)); }

 private:
  std::vector<Object*>& list_;
};

// Calls for every object of the list, each of which may be destroyed by a call before its own.
template <class Object, class Call>
void forEach(const std::vector<Object*>& list, Call call) {
  for (Object* const object : std::vector<Object*>(list)) {
    if (std::find(list.begin(), list.end(), object) != list.end()) call(*object);
  }
}

}  // namespace

class FakeDnsSd::FakePublication final : public Publication, public Listed<FakePublication> {
 public:
  FakePublication(std::vector<FakePublication*>& list, ServiceDescription description,
                  PublicationChanged function)
      : Listed(list), service(std::move(description)), changed(std::move(function)) {}
  const ServiceDescription service;
  const PublicationChanged changed;
};

class FakeDnsSd::FakeBrowser final : public Browser, public Listed<FakeBrowser> {
 public:
  FakeBrowser(std::vector<FakeBrowser*>& list, std::string serviceType, BrowserEvents functions)
      : Listed(list), type(std::move(serviceType)), events(std::move(functions)) {}
  const std::string type;
  const BrowserEvents events;
};

class FakeDnsSd::FakeResolution final : public Resolution, public Listed<FakeResolution> {
 public:
  FakeResolution(std::vector<FakeResolution*>& list, std::string serviceName, ResolveEvents functions)
      : Listed(list), name(std::move(serviceName)), events(std::move(functions)) {}
  const std::string name;
  const ResolveEvents events;
};

FakeDnsSd::~FakeDnsSd() = default;

std::unique_ptr<Publication> FakeDnsSd::publish(const ServiceDescription& service,
                                                PublicationChanged changed) {
  if (refusing_) return nullptr;
  return std::make_unique<FakePublication>(publications_, service, std::move(changed));
}

std::unique_ptr<Browser> FakeDnsSd::browse(const std::string& type, BrowserEvents events) {
  return std::make_unique<FakeBrowser>(browsers_, type, std::move(events));
}

std::unique_ptr<Resolution> FakeDnsSd::resolve(const std::string& name, const std::string&,
                                               EventLoop::Duration timeout, ResolveEvents events) {
  lastTimeout_ = timeout;
  return std::make_unique<FakeResolution>(resolutions_, name, std::move(events));
}

std::vector<ServiceDescription> FakeDnsSd::published() const {
  std::vector<ServiceDescription> services;
  for (const FakePublication* publication : publications_) services.push_back(publication->service);
  return services;
}

std::vector<std::string> FakeDnsSd::browsedTypes() const {
  std::vector<std::string> types;
  for (const FakeBrowser* browser : browsers_) types.push_back(browser->type);
  return types;
}

std::vector<std::string> FakeDnsSd::resolvedNames() const {
  std::vector<std::string> names;
  for (const FakeResolution* resolution : resolutions_) names.push_back(resolution->name);
  return names;
}

void FakeDnsSd::tell(const PublicationState& state) {
  forEach(publications_, [&](const FakePublication& publication) {
    const PublicationChanged changed = publication.changed;
    if (changed) changed(state);
  });
}

void FakeDnsSd::find(const std::string& name, bool moreComing) {
  forEach(browsers_, [&](const FakeBrowser& browser) {
    const auto found = browser.events.found;
    if (found) found(name, moreComing);
  });
}

void FakeDnsSd::lose(const std::string& name, bool moreComing) {
  forEach(browsers_, [&](const FakeBrowser& browser) {
    const auto removed = browser.events.removed;
    if (removed) removed(name, moreComing);
  });
}

void FakeDnsSd::answer(const ResolvedService& service) {
  forEach(resolutions_, [&](const FakeResolution& resolution) {
    const auto resolved = resolution.events.resolved;
    if (resolution.name == service.name && resolved) resolved(service);
  });
}

void FakeDnsSd::failToResolve(const std::string& name, const std::string& reason) {
  forEach(resolutions_, [&](const FakeResolution& resolution) {
    const auto notResolved = resolution.events.notResolved;
    if (resolution.name == name && notResolved) notResolved(reason);
  });
}

}  // namespace moxtel
