// The command line of moxtel-export, and the options of an export. A value; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace moxtel {

struct ExportOptions {
  enum class Layout : std::uint8_t { Events, Dates };
  enum class Versions : std::uint8_t { Both, Edited, Original };
  enum class Sidecars : std::uint8_t { Xmp, None };
  enum class SidecarName : std::uint8_t { WholeName, Stem };  // x.jpg.xmp, x.xmp
  enum class Link : std::uint8_t { Copy, Symbolic };
  enum class Hidden : std::uint8_t { Separate, Leave, Mix };

  std::vector<std::string> libraries;
  std::string target;
  Layout layout = Layout::Events;
  Versions versions = Versions::Both;
  Sidecars sidecars = Sidecars::Xmp;
  SidecarName sidecarName = SidecarName::WholeName;
  bool albumTags = true;
  bool albumLists = true;
  bool albumLinks = false;
  Link link = Link::Copy;
  bool embed = false;
  bool checksums = true;
  Hidden hidden = Hidden::Separate;
  bool trash = false;
  std::vector<std::string> only;        // names or uuids of albums, events and persons; empty: everything
  std::optional<std::int64_t> since;    // wall clock, seconds since 1970-01-01 as if UTC
  std::vector<std::string> referenced;  // FOLDER or NAME=FOLDER
  bool dryRun = false;
  bool verify = false;
  bool progress = false;
  bool json = false;

  // Whether only some photos are wanted.
  bool isPartial() const { return !only.empty() || since; }
};

struct ExportMessage {
  std::string text;
  int exitStatus = 0;  // 0: help or version, for standard output
};

std::variant<ExportOptions, ExportMessage> parseExportOptions(const std::vector<std::string>& arguments);

}  // namespace moxtel
