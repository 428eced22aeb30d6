#include "app/ConnectedDevices.h"

#include "web/api/LibraryJson.h"

namespace moxtel {

std::vector<ConnectedDevice> connectedDevices(const ServerStatus& status) {
  std::vector<ConnectedDevice> devices;
  if (status.client) {
    devices.push_back({ConnectedDevice::Kind::Handheld, *status.client,
                       status.libraryPath ? nameOfLibraryFolder(*status.libraryPath) : std::string(),
                       status.clientSince});
  }
  for (const WebDevice& each : status.web.devices)
    devices.push_back({ConnectedDevice::Kind::Browser, each.address, each.library, each.since});
  return devices;
}

std::string namesOf(const std::vector<ConnectedDevice>& devices) {
  std::string names;
  for (const ConnectedDevice& each : devices) names += (names.empty() ? "" : ", ") + each.name;
  return names;
}

}  // namespace moxtel
