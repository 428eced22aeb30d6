#include "export/ExportOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

#include "export/ExportText.h"
#include "library/ReferencedFolders.h"

namespace moxtel {

namespace {

using Options = ExportOptions;

const std::map<std::string, Options::Layout> kLayouts{{"events", Options::Layout::Events},
                                                      {"dates", Options::Layout::Dates}};
const std::map<std::string, Options::Versions> kVersions{{"both", Options::Versions::Both},
                                                         {"edited", Options::Versions::Edited},
                                                         {"original", Options::Versions::Original}};
const std::map<std::string, Options::Sidecars> kSidecars{{"xmp", Options::Sidecars::Xmp},
                                                         {"none", Options::Sidecars::None}};
const std::map<std::string, Options::SidecarName> kSidecarNames{
    {"x.jpg.xmp", Options::SidecarName::WholeName}, {"x.xmp", Options::SidecarName::Stem}};
const std::map<std::string, Options::Link> kLinks{{"copy", Options::Link::Copy},
                                                  {"symbolic", Options::Link::Symbolic}};
const std::map<std::string, Options::Hidden> kHidden{{"separate", Options::Hidden::Separate},
                                                     {"leave", Options::Hidden::Leave},
                                                     {"mix", Options::Hidden::Mix}};

constexpr const char* kExamples =
    "\nExamples:\n"
    "  moxtel-export \"/media/disk/iPhoto Library\" ~/Photos --dry-run\n"
    "      what would be copied, and what is missing\n"
    "  moxtel-export \"/media/disk/iPhoto Library\" ~/Photos\n"
    "      copies all; the same command again continues, and later copies what is new\n"
    "  moxtel-export /media/disk ~/Photos\n"
    "      every library on the disk, each into a folder of its own\n"
    "  moxtel-export LIBRARY TARGET --only \"Rome 2009\" --versions edited\n"
    "      one album, event or person\n"
    "\nNothing is deleted in TARGET, and nothing in LIBRARY is changed.\n"
    "\nExit status: 0 complete; 1 the command line is wrong; 2 something is missing,\n"
    "see the report; 3 failed; 130 interrupted.";

class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "\nusage: moxtel-export [OPTION]... LIBRARY... TARGET\n\nLIBRARY is a library, or a disk or "
           "folder with "
           "libraries. TARGET is made where it is missing, with the\nfolders above it.\n";
  }
  std::string make_positionals(const CLI::App*) const override { return {}; }
};

class CommandLine final {
 public:
  CommandLine()
      : app_("Copies the photos of libraries, with all that is known about them, into plain folders.",
             "moxtel-export") {
    app_.formatter(std::make_shared<HelpFormatter>());
    app_.set_help_flag("-h,--help", "show this help");
    app_.set_version_flag("--version", "moxtel-export " MOXTEL_VERSION, "show the version");
    app_.add_option("LIBRARY", paths_, "libraries or disks to search, then the target folder")
        ->required()
        ->option_text(" ");
    addWhat();
    addWhere();
    addFacts();
    addHow();
    app_.footer(kExamples);
  }
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  std::variant<ExportOptions, ExportMessage> parse(const std::vector<std::string>& arguments) {
    try {
      app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
      finish();
    } catch (const CLI::CallForHelp&) {
      return ExportMessage{app_.help(), 0};
    } catch (const CLI::CallForVersion&) {
      return ExportMessage{"moxtel-export " MOXTEL_VERSION "\n", 0};
    } catch (const CLI::ParseError& error) {
      return ExportMessage{
          std::string("moxtel-export: ") + error.what() + "\nmoxtel-export --help shows the options.\n", 1};
    }
    return options_;
  }

 private:
  template <class Value>
  void addChoice(const char* name, Value& value, const std::map<std::string, Value>& choices,
                 const char* type, const char* help, const char* group) {
    app_.add_option_function<std::string>(
            name, [&value, &choices](const std::string& word) { value = choices.at(word); }, help)
        ->type_name(type)
        ->check(CLI::IsMember(choices).description(""))
        ->take_last()
        ->group(group);
  }

  void addWhat() {
    const char* group = "Which photos";
    app_.add_option("--only", options_.only,
                    "only this album, event or person, by name or\nidentifier; may be repeated")
        ->type_name("NAME")
        ->expected(1)
        ->take_all()
        ->group(group);
    app_.add_option_function<std::string>(
            "--since",
            [this](const std::string& text) {
              options_.since = dayIn(text);
              if (!options_.since)
                throw CLI::ValidationError("--since: '" + text + "' is no date like 2009-07-04");
            },
            "only photos of this day and later")
        ->type_name("YYYY-MM-DD")
        ->take_last()
        ->group(group);
    addChoice("--versions", options_.versions, kVersions, "WHICH",
              "both      the original, and an edited photo's\n          picture as NAME_edited (default)\n"
              "edited    the edited picture if there is one,\n          else the original\n"
              "original  originals only",
              group);
    addChoice("--hidden", options_.hidden, kHidden, "HOW",
              "separate  into a folder Hidden (default)\nleave     not at all\nmix       like other photos",
              group);
    app_.add_flag("--trash", options_.trash, "also the photos in the trash, into a folder Trash")
        ->group(group);
    app_.add_option("--referenced", options_.referenced,
                    "where the photos are that lie outside the\nlibrary: a folder, or the name of a disk "
                    "and\nthe folder where it is mounted; may be repeated")
        ->type_name("[NAME=]FOLDER")
        ->expected(1)
        ->take_all()
        ->group(group);
  }

  void addWhere() {
    const char* group = "Folders and files";
    addChoice("--layout", options_.layout, kLayouts, "HOW",
              "events  Events/2009/2009-07-04 Rome (default)\ndates   Dates/2009/2009-07-04", group);
    addChoice("--link", options_.link, kLinks, "HOW",
              "copy      copies of the files (default)\nsymbolic  links to the files in the library", group);
    app_.add_option_function<std::string>(
            "--albums", [this](const std::string& text) { setAlbums(text); },
            "how albums are kept, separated by commas:\ntags   in the sidecars\nlists  Albums/NAME.m3u8\n"
            "links  folders with links to the files\nnone   not at all\n(default: tags,lists)")
        ->type_name("HOW")
        ->take_last()
        ->group(group);
    app_.add_flag_callback(
            "--no-checksums", [this] { options_.checksums = false; }, "write no SHA256SUMS: faster")
        ->group(group);
  }

  void addFacts() {
    const char* group = "Titles, keywords, faces and places";
    addChoice("--sidecars", options_.sidecars, kSidecars, "KIND",
              "xmp   a file beside each picture (default)\nnone", group);
    addChoice("--sidecar-name", options_.sidecarName, kSidecarNames, "NAME",
              "x.jpg.xmp  for digiKam, darktable, Immich,\n           PhotoPrism (default)\nx.xmp      for "
              "Lightroom",
              group);
    app_.add_flag("--embed", options_.embed, "also write them into the copies of JPEG files")->group(group);
  }

  void addHow() {
    const char* group = "Running";
    app_.add_flag("--dry-run", options_.dryRun, "write nothing; report what would be done")->group(group);
    app_.add_flag("--verify", options_.verify, "afterwards compare all files with their\nchecksums")
        ->group(group);
    app_.add_flag("--progress", options_.progress,
                  "show the progress even if standard error is no\nterminal; with --json as lines of JSON")
        ->group(group);
    app_.add_flag("--json", options_.json,
                  "print the report as JSON; with --dry-run also a\nline for each photo")
        ->group(group);
  }

  void setAlbums(const std::string& text) {
    options_.albumTags = options_.albumLists = options_.albumLinks = false;
    for (const std::string& word : CLI::detail::split(text, ',')) {
      if (word == "tags")
        options_.albumTags = true;
      else if (word == "lists")
        options_.albumLists = true;
      else if (word == "links")
        options_.albumLinks = true;
      else if (word != "none")
        throw CLI::ValidationError("--albums: '" + word + "' is not one of tags, lists, links, none");
    }
  }

  void finish() {
    if (paths_.size() < 2) throw CLI::ValidationError("name a library and a target folder");
    options_.target = paths_.back();
    options_.libraries.assign(paths_.begin(), paths_.end() - 1);
    if (options_.embed && options_.link == Options::Link::Symbolic)
      throw CLI::ValidationError("--embed changes files, so it does not go together with --link symbolic");
    if (options_.verify && !options_.checksums)
      throw CLI::ValidationError("--verify needs the checksums that --no-checksums leaves out");
    for (const std::string& entry : options_.referenced) {
      if (entry.find(':') != std::string::npos || !ReferencedFolders(entry).rejected().empty())
        throw CLI::ValidationError("--referenced: '" + entry +
                                   "' is neither an absolute FOLDER nor NAME=FOLDER");
    }
  }

  CLI::App app_;
  ExportOptions options_;
  std::vector<std::string> paths_;
};

}  // namespace

std::variant<ExportOptions, ExportMessage> parseExportOptions(const std::vector<std::string>& arguments) {
  return CommandLine().parse(arguments);
}

}  // namespace moxtel
