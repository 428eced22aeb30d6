#include "client/Options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace moxtel {

namespace {

enum class Argument : std::uint8_t { None, Id, Key, KeyAndPosition };
enum class Answer : std::uint8_t { Shown, Saved };

struct Subcommand {
  std::string_view name;
  std::string_view command;
  Argument argument = Argument::None;
  Answer answer = Answer::Shown;
  Layout layout = Layout::Plain;
  std::string_view help;
};

constexpr std::array kSubcommands{
    Subcommand{"version", "Get Version", Argument::None, Answer::Shown, Layout::Plain,
               "the server's version"},
    Subcommand{"albums", "Get Albums", Argument::None, Answer::Shown, Layout::Containers,
               "the top-level albums and folders"},
    Subcommand{"events", "Get Events", Argument::None, Answer::Shown, Layout::Containers,
               "the events or projects"},
    Subcommand{"faces", "Get Faces", Argument::None, Answer::Shown, Layout::Containers, "the named persons"},
    Subcommand{"folders", "Folders of Album", Argument::Id, Answer::Shown, Layout::Containers,
               "what lies in a folder"},
    Subcommand{"photos", "Photos of Album", Argument::Id, Answer::Shown, Layout::Photos,
               "the photos of an album or event; allPhotosAlbum for all"},
    Subcommand{"face-photos", "Photos of Face", Argument::Id, Answer::Shown, Layout::Photos,
               "the photos that show a person"},
    Subcommand{"thumb", "Thumb of Photo", Argument::Key, Answer::Saved, Layout::Plain, "a photo's thumbnail"},
    Subcommand{"square-thumb", "Square Thumb of Photo", Argument::Key, Answer::Saved, Layout::Plain,
               "its square thumbnail; with --face a person's"},
    Subcommand{"image", "Image of Photo", Argument::Key, Answer::Saved, Layout::Plain,
               "the photo as a JPEG file"},
    Subcommand{"data", "Data of Photo", Argument::Key, Answer::Saved, Layout::Plain,
               "the photo's or movie's file as it is"},
    Subcommand{"metadata", "Metadata of Photo", Argument::Key, Answer::Shown, Layout::Plain,
               "what its file tells about it"},
    Subcommand{"infos", "Infos of Photo", Argument::Key, Answer::Shown, Layout::Plain,
               "what the library tells about it"},
    Subcommand{"reveal-photo", "Reveal Photo", Argument::Key, Answer::Shown, Layout::Plain,
               "show a photo in the photo application"},
    Subcommand{"reveal-album", "Reveal Album", Argument::Id, Answer::Shown, Layout::Plain,
               "show an album there"},
    Subcommand{"reveal-event", "Reveal Event", Argument::Id, Answer::Shown, Layout::Plain,
               "show an event there"},
    Subcommand{"set-gps", "Set GPS of Photo", Argument::KeyAndPosition, Answer::Shown, Layout::Plain,
               "set a photo's position, in degrees"},
    Subcommand{"clear-gps", "Clear GPS of Photo", Argument::Key, Answer::Shown, Layout::Plain,
               "remove its position"},
};

std::string_view argumentNames(Argument argument) {
  switch (argument) {
    case Argument::None:
      return "";
    case Argument::Id:
      return " ID";
    case Argument::Key:
      return " KEY";
    case Argument::KeyAndPosition:
      return " KEY LATITUDE LONGITUDE";
  }
  return "";
}

std::size_t argumentCount(Argument argument) {
  if (argument == Argument::None) return 0;
  return argument == Argument::KeyAndPosition ? 3 : 1;
}

template <class Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// key:=value of the generic command: a number or a boolean; nothing when it is neither.
std::optional<Value> typedValue(std::string_view text) {
  if (text == "true") return Value(true);
  if (text == "false") return Value(false);
  if (const auto integer = wholeNumber<std::int64_t>(text)) return Value(*integer);
  if (const auto real = wholeNumber<double>(text)) return Value(*real);
  return std::nullopt;
}

// Takes options and words off the command line. What is wrong is kept for the end; the first counts.
class Parser {
 public:
  explicit Parser(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  std::variant<ClientRequest, BrowseWanted, HelpWanted, VersionWanted, UsageError> parse() {
    for (; next_ < arguments_.size() && error_.empty(); ++next_) take(arguments_[next_]);
    if (help_) return HelpWanted{};
    if (version_) return VersionWanted{};
    if (error_.empty()) makeCommand();
    if (!error_.empty()) return UsageError{error_};
    if (browse_) return BrowseWanted{request_.json};
    return std::move(request_);
  }

 private:
  void take(const std::string& word) {
    if (onlyWords_ || word == "-" || !word.starts_with('-') || isNumber(word)) {
      words_.push_back(word);
    } else if (word == "--") {
      onlyWords_ = true;
    } else if (word == "--help" || word == "-h") {
      help_ = true;
    } else if (word == "--version") {
      version_ = true;
    } else if (word == "--json") {
      request_.json = true;
    } else if (word == "--face") {
      face_ = true;
    } else {
      takeWithValue(word);
    }
  }

  // Southern latitudes are arguments, not options.
  static bool isNumber(const std::string& word) { return wholeNumber<double>(word).has_value(); }

  void takeWithValue(const std::string& word) {
    const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string option = word.substr(0, equals);
    if (option != "--host" && option != "--port" && option != "-o" && option != "--output") {
      fail("unknown option " + word);
      return;
    }
    if (equals == std::string::npos && next_ + 1 == arguments_.size()) {
      fail(option + " needs a value");
      return;
    }
    setOption(option, equals == std::string::npos ? arguments_[++next_] : word.substr(equals + 1));
  }

  void setOption(const std::string& option, const std::string& value) {
    if (option == "--host") {
      request_.host = value;
    } else if (option == "--port") {
      request_.port = wholeNumber<std::uint16_t>(value);
      if (!request_.port || *request_.port == 0)
        fail("--port needs a number from 1 to 65535, not '" + value + "'");
    } else {
      request_.output = value;
    }
  }

  void makeCommand() {
    if (words_.empty()) {
      fail("no command");
    } else if (words_.front() == "command") {
      makeGenericCommand();
    } else if (words_.front() == "browse") {
      makeBrowse();
    } else {
      const auto* found = std::find_if(kSubcommands.begin(), kSubcommands.end(),
                                       [&](const Subcommand& each) { return each.name == words_.front(); });
      if (found == kSubcommands.end()) {
        fail("unknown command '" + words_.front() + "'");
      } else {
        makeCommandOf(*found);
      }
    }
  }

  void makeBrowse() {
    browse_ = true;
    if (words_.size() != 1) fail("usage: moxtel browse");
  }

  void makeCommandOf(const Subcommand& subcommand) {
    const std::span<const std::string> arguments = std::span(words_).subspan(1);
    if (arguments.size() != argumentCount(subcommand.argument)) {
      fail("usage: moxtel " + std::string(subcommand.name) + std::string(argumentNames(subcommand.argument)));
      return;
    }
    if (subcommand.answer == Answer::Saved && !request_.output && !request_.json) {
      fail(std::string(subcommand.name) + " needs -o FILE");
      return;
    }
    request_.layout = subcommand.layout;
    request_.command.set("command", subcommand.command);
    if (subcommand.argument == Argument::Id) request_.command.set("id", arguments[0]);
    if (subcommand.argument == Argument::Key || subcommand.argument == Argument::KeyAndPosition) {
      request_.command.set("key", arguments[0]);
    }
    if (subcommand.argument == Argument::KeyAndPosition) {
      setDegrees("latitude", arguments[1]);
      setDegrees("longitude", arguments[2]);
    }
    if (face_) request_.command.set("isFace", true);
  }

  void setDegrees(std::string_view key, const std::string& text) {
    const auto degrees = wholeNumber<double>(text);
    if (!degrees || !std::isfinite(*degrees))
      fail("'" + text + "' is no " + std::string(key) + " in degrees");
    request_.command.set(key, degrees.value_or(0));
  }

  void makeGenericCommand() {
    if (words_.size() < 2) {
      fail("usage: moxtel command NAME [key=value…]");
      return;
    }
    request_.command.set("command", words_[1]);
    for (const std::string& entry : std::span(words_).subspan(2)) setEntry(entry);
  }

  void setEntry(const std::string& entry) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos || equals == 0) {
      fail("'" + entry + "' is not of the form key=value");
    } else if (entry[equals - 1] != ':') {
      request_.command.set(entry.substr(0, equals), entry.substr(equals + 1));
    } else if (const auto value = typedValue(std::string_view(entry).substr(equals + 1))) {
      request_.command.set(entry.substr(0, equals - 1), *value);
    } else {
      fail("'" + entry.substr(equals + 1) + "' is neither a number nor true nor false");
    }
  }

  void fail(std::string text) {
    if (error_.empty()) error_ = std::move(text);
  }

  const std::vector<std::string>& arguments_;
  std::size_t next_ = 0;
  std::vector<std::string> words_;
  bool onlyWords_ = false;
  bool help_ = false;
  bool version_ = false;
  bool face_ = false;
  bool browse_ = false;
  std::string error_;
  ClientRequest request_;
};

std::string helpLine(const Subcommand& subcommand) {
  std::string line = "  " + std::string(subcommand.name) + std::string(argumentNames(subcommand.argument));
  if (subcommand.answer == Answer::Saved) line += " -o FILE";
  line.resize(std::max<std::size_t>(line.size() + 2, 36), ' ');
  return line + std::string(subcommand.help) + "\n";
}

}  // namespace

std::variant<ClientRequest, BrowseWanted, HelpWanted, VersionWanted, UsageError> parseOptions(
    const std::vector<std::string>& arguments) {
  return Parser(arguments).parse();
}

std::string helpText() {
  std::string text =
      "usage: moxtel [--host HOST] [--port PORT] [--json] COMMAND [ARGUMENT…]\n"
      "\n"
      "Asks a MoxtelServer for what its photo library holds.\n"
      "\n"
      "Commands:\n"
      "  browse                            the servers on the network\n";
  for (const Subcommand& subcommand : kSubcommands) text += helpLine(subcommand);
  text +=
      "  command NAME [key=value…]         any command of the protocol; key:=value for a number, true or "
      "false\n"
      "\n"
      "Options:\n"
      "  --host HOST       the server's name or address; without it the only server on the network\n"
      "  --port PORT       its port (4250)\n"
      "  --json            print the result as JSON: dates as ISO 8601, data as base64\n"
      "  -o, --output FILE write the result's data to a file; - is standard output\n"
      "  --face            with square-thumb: the key is a person's\n"
      "  --help, --version\n"
      "\n"
      "Exit status: 0, or 1 when the server could not answer, or 2 for a wrong command line.\n";
  return text;
}

}  // namespace moxtel
