#include "client/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <sstream>

namespace moxtel {

namespace {

enum class Argument : std::uint8_t { None, Id, Key, KeyAndPosition };
enum class Answer : std::uint8_t { Shown, Saved };

struct Subcommand {
  const char* name;
  const char* command;
  Argument argument;
  Answer answer;
  Layout layout;
  const char* help;
};

using enum Argument;
using enum Answer;
using enum Layout;

constexpr std::array kSubcommands{
    Subcommand{"version", "Get Version", None, Shown, Plain, "the server's version"},
    Subcommand{"albums", "Get Albums", None, Shown, Containers, "the top-level albums and folders"},
    Subcommand{"events", "Get Events", None, Shown, Containers, "the events or projects"},
    Subcommand{"faces", "Get Faces", None, Shown, Containers, "the named persons"},
    Subcommand{"folders", "Folders of Album", Id, Shown, Containers, "the contents of a folder"},
    Subcommand{"photos", "Photos of Album", Id, Shown, Photos,
               "the photos of an album or event;\nallPhotosAlbum for all"},
    Subcommand{"face-photos", "Photos of Face", Id, Shown, Photos, "the photos that show a person"},
    Subcommand{"thumb", "Thumb of Photo", Key, Saved, Plain, "a photo's thumbnail"},
    Subcommand{"square-thumb", "Square Thumb of Photo", Key, Saved, Plain,
               "its square thumbnail;\nwith --face, the person's face"},
    Subcommand{"image", "Image of Photo", Key, Saved, Plain, "the photo as a JPEG file"},
    Subcommand{"data", "Data of Photo", Key, Saved, Plain,
               "the original file;\nfor an edited photo, the edited JPEG"},
    Subcommand{"metadata", "Metadata of Photo", Key, Shown, Plain, "the metadata in the photo's file"},
    Subcommand{"infos", "Infos of Photo", Key, Shown, Plain, "the library's data about the photo"},
    Subcommand{"reveal-photo", "Reveal Photo", Key, Shown, Plain, "show a photo in the photo application"},
    Subcommand{"reveal-album", "Reveal Album", Id, Shown, Plain, "show an album there"},
    Subcommand{"reveal-event", "Reveal Event", Id, Shown, Plain, "show an event there"},
    Subcommand{"set-gps", "Set GPS of Photo", KeyAndPosition, Shown, Plain,
               "set a photo's position, in degrees"},
    Subcommand{"clear-gps", "Clear GPS of Photo", Key, Shown, Plain, "remove a photo's position"},
};

constexpr const char* kDownload = "download";

// A number that takes the whole text.
template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

[[noreturn]] void fail(const std::string& text) {
  throw CLI::ValidationError(text, CLI::ExitCodes::ValidationError);
}

// Returns why the text is no port, or nothing. CLI11, which reads the text afterwards, takes a leading 0 for
// octal; so the text becomes the decimal number.
std::string checkPort(std::string& text) {
  const auto port = numberIn<std::uint16_t>(text);
  if (!port || *port == 0) return "Value " + text + " not in range 1 to 65535";
  text = std::to_string(*port);
  return {};
}

// CLI11 reads "--output= FILE" like "--output FILE".
void rejectEmptyValues(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return;
    if (argument.starts_with("--") && argument.ends_with('=')) fail(argument + " has no value");
  }
}

// The value of key:=value: a number or a boolean.
std::optional<Value> typedValue(std::string_view text) {
  if (text == "true") return Value(true);
  if (text == "false") return Value(false);
  if (const auto integer = numberIn<std::int64_t>(text)) return Value(*integer);
  if (const auto real = numberIn<double>(text)) return Value(*real);
  return std::nullopt;
}

void setEntry(Dictionary& command, const std::string& entry) {
  const std::size_t equals = entry.find('=');
  if (equals == std::string::npos || equals == 0) fail("'" + entry + "' is not of the form key=value");
  const std::string text = entry.substr(equals + 1);
  if (entry[equals - 1] != ':') {
    command.set(entry.substr(0, equals), text);
    return;
  }
  const auto value = typedValue(text);
  if (!value) fail("'" + text + "' is neither a number nor true nor false");
  command.set(entry.substr(0, equals - 1), *value);
}

// Lists each subcommand with its arguments.
class HelpFormatter final : public CLI::Formatter {
 public:
  HelpFormatter() { column_width(kColumn); }

  std::string make_usage(const CLI::App* app, std::string name) const override {
    const bool isProgram = app->get_parent() == nullptr;
    return "\nusage: " + (isProgram ? "moxtel [OPTION…] COMMAND [ARGUMENT…]" : name + argumentsOf(app)) +
           "\n";
  }
  std::string make_positionals(const CLI::App*) const override { return {}; }
  std::string make_subcommand(const CLI::App* command) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_name() + argumentsOf(command), command->get_description(),
                             kColumn);
    return line.str();
  }

 private:
  static constexpr std::size_t kColumn = 34;

  // Each after a blank.
  static std::string argumentsOf(const CLI::App* command) {
    std::string text;
    for (const CLI::Option* option : command->get_options())
      if (option->get_positional()) text += " " + option->get_name(true);
    const bool isSaved = std::any_of(kSubcommands.begin(), kSubcommands.end(), [&](const Subcommand& each) {
      return each.answer == Saved && each.name == command->get_name();
    });
    if (command->get_name() == kDownload) return text + " -o FOLDER";
    return text + (isSaved ? " -o FILE" : "");
  }
};

class CommandLine final {
 public:
  CommandLine() : app_("Lists the albums and photos of a MoxtelServer, and downloads pictures.", "moxtel") {
    app_.formatter(std::make_shared<HelpFormatter>());
    app_.require_subcommand(0, 1);
    addOptions();
    add("browse", "the servers on the network")->callback([this] { isBrowse_ = true; });
    for (const Subcommand& subcommand : kSubcommands) add(subcommand);
    addDownload();
    addGenericCommand();
    app_.footer("Exit status: 0; 1 if the request failed or was refused; 2 if the command line\nis wrong.");
  }
  // CLI11 holds the addresses of the members.
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  std::variant<ClientRequest, BrowseWanted, HelpWanted, VersionWanted, UsageError> parse(
      const std::vector<std::string>& arguments) {
    try {
      rejectEmptyValues(arguments);
      app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
      if (app_.get_subcommands().empty()) fail("no command");
    } catch (const CLI::CallForHelp&) {
      return HelpWanted{app_.help()};
    } catch (const CLI::CallForVersion&) {
      return VersionWanted{};
    } catch (const CLI::ParseError& error) {
      return UsageError{error.what()};
    }
    if (isBrowse_) return BrowseWanted{request_.json};
    return std::move(request_);
  }

 private:
  void addOptions() {
    app_.set_help_flag("-h,--help", "show this help");
    app_.set_version_flag("--version", std::string(), "show the version of moxtel");
    addOption("--host", request_.host, "HOST",
              "the server's name or address; without\nit, the only server on the network");
    addOption("--port", request_.port, "PORT",
              "the server's port (4250); without a\nhost, a port of this machine")
        ->transform(CLI::Validator(checkPort, ""));
    app_.add_flag("--json", request_.json, "print the result as JSON: dates as\nISO 8601, data as base64");
    addOption("-o,--output", request_.output, "FILE",
              "write the result's data to a file;\n- is standard output");
    app_.add_flag("--face", isFace_, "with square-thumb: KEY is the key\nphoto of a person");
    app_.add_flag("--brief", request_.brief,
                  "with photos, face-photos: no names and\ndates, which take two requests a photo");
  }

  // The last one counts.
  template <class T>
  CLI::Option* addOption(const char* names, T& variable, const char* valueName, const char* help) {
    return app_.add_option(names, variable, help)->type_name(valueName)->take_last();
  }

  CLI::App* add(const char* name, const char* help) {
    CLI::App* command = app_.add_subcommand(name, help);
    command->group("Commands");
    command->footer("The options of all commands: moxtel --help.");
    return command->fallthrough();
  }

  void add(const Subcommand& subcommand) {
    CLI::App* command = add(subcommand.name, subcommand.help);
    const Argument argument = subcommand.argument;
    if (argument == Id) command->add_option("ID", key_)->required();
    if (argument == Key || argument == KeyAndPosition) command->add_option("KEY", key_)->required();
    if (argument == KeyAndPosition) {
      command->add_option("LATITUDE", latitude_)->required();
      command->add_option("LONGITUDE", longitude_)->required();
    }
    command->callback([this, &subcommand] { makeCommand(subcommand); });
  }

  void makeCommand(const Subcommand& subcommand) {
    if (subcommand.answer == Saved && !request_.output && !request_.json)
      fail(std::string(subcommand.name) + " needs -o FILE");
    request_.layout = subcommand.layout;
    request_.command.set("command", subcommand.command);
    if (subcommand.argument != None) request_.command.set(subcommand.argument == Id ? "id" : "key", key_);
    if (subcommand.argument == KeyAndPosition) {
      if (!std::isfinite(latitude_) || !std::isfinite(longitude_)) fail("a position needs degrees");
      request_.command.set("latitude", latitude_);
      request_.command.set("longitude", longitude_);
    }
    if (isFace_) request_.command.set("isFace", true);
  }

  void addDownload() {
    CLI::App* command = add(kDownload, "all photos of an album, event or\nperson, or allPhotosAlbum");
    command->add_option("ID", key_)->required();
    command->footer(
        "The same command continues after any end, and later downloads what is new.\n"
        "FOLDER/photos.jsonl has what the server says about each photo. Edited photos\n"
        "come as JPEG files without their originals, and titles, keywords, ratings,\n"
        "faces and albums not at all: moxtel-export takes them from the library itself.\n\n"
        "The options of all commands: moxtel --help.");
    command->callback([this] {
      if (!request_.output || request_.output->empty() || *request_.output == "-")
        fail("download needs -o FOLDER");
      if (request_.json) fail("download has no JSON; photos.jsonl in the folder has it");
      request_.downloaded = key_;
    });
  }

  void addGenericCommand() {
    CLI::App* command =
        add("command", "any command of the protocol;\nkey:=value for a number, true or false");
    command->add_option("NAME", key_)->required();
    command->add_option("[key=value...]", entries_);
    command->callback([this] {
      request_.command.set("command", key_);
      for (const std::string& entry : entries_) setEntry(request_.command, entry);
    });
  }

  CLI::App app_;
  ClientRequest request_;
  bool isBrowse_ = false;
  bool isFace_ = false;
  std::string key_;  // the command's first argument
  double latitude_ = 0;
  double longitude_ = 0;
  std::vector<std::string> entries_;
};

}  // namespace

std::variant<ClientRequest, BrowseWanted, HelpWanted, VersionWanted, UsageError> parseOptions(
    const std::vector<std::string>& arguments) {
  return CommandLine().parse(arguments);
}

}  // namespace moxtel
