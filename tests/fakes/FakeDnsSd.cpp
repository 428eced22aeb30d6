#include "tests/fakes/FakeDnsSd.h"

#include <algorithm>
#include <utility>

namespace moxtel {

namespace {

// Keeps an object in a list of its maker while it lives.
template <class Object>
class Listing {
 public:
  Listing(std::vector<Object*>& list, Object* object) : list_(list), object_(object) {
    list_.push_back(object_);
  }
  ~Listing() { std::erase(list_, object_); }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

 private:
  std::vector<Object*>& list_;
  Object* const object_;
};

// Calls for every object of the list, each of which may be destroyed by a call before its own.
template <class Object, class Call>
void forEach(const std::vector<Object*>& list, Call call) {
  for (Object* const object : std::vector<Object*>(list)) {
    if (std::find(list.begin(), list.end(), object) != list.end()) call(*object);
  }
}

}  // namespace

class FakeDnsSd::FakePublication final : public Publication {
 public:
  FakePublication(std::vector<FakePublication*>& list, ServiceDescription description,
                  PublicationChanged function)
      : service(std::move(description)), changed(std::move(function)), listing_(list, this) {}
  const ServiceDescription service;
  const PublicationChanged changed;

 private:
  const Listing<FakePublication> listing_;
};

class FakeDnsSd::FakeBrowser final : public Browser {
 public:
  FakeBrowser(std::vector<FakeBrowser*>& list, std::string serviceType, BrowserEvents functions)
      : type(std::move(serviceType)), events(std::move(functions)), listing_(list, this) {}
  const std::string type;
  const BrowserEvents events;

 private:
  const Listing<FakeBrowser> listing_;
};

class FakeDnsSd::FakeResolution final : public Resolution {
 public:
  FakeResolution(std::vector<FakeResolution*>& list, std::string serviceName, ResolveEvents functions)
      : name(std::move(serviceName)), events(std::move(functions)), listing_(list, this) {}
  const std::string name;
  const ResolveEvents events;

 private:
  const Listing<FakeResolution> listing_;
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

void FakeDnsSd::changePublications(const PublicationState& state) {
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
