#include "client/MoxtelClient.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>

#include "client/Json.h"
#include "client/LibraryProbe.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/ScriptedServer.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using Connection = ScriptedServer::Connection;
using testing::HasSubstr;
using testing::StartsWith;

class FixedFinder : public ServerFinder {
 public:
  std::variant<ServerAddress, std::string> findServer() override { return answer; }
  std::variant<ServerAddress, std::string> answer = "no server was found";
};

class Moxtel : public testing::Test {
 protected:
  using Answer = std::function<Value(const Value& request)>;

  // Answers the requests of a connection with envelopes, each with its own.
  void serve(Connection& connection, const Answer& answer) {
    for (;;) {
      const std::string request = connection.read();
      if (request.empty()) return;
      const auto decoded =
          unarchivedObject(std::span(reinterpret_cast<const std::uint8_t*>(request.data()), request.size()));
      asked = std::get<Value>(decoded);
      requests.emplace_back(asked["command"].string());
      const bool isGreeting = requests.size() == 1 && requests[0] == "Get Version" && greets;
      connection.sendEnvelope(isGreeting ? result("1.4") : answer(asked));
    }
  }
  // The first request of a connection.
  static void greet(Connection& connection) {
    connection.read();
    connection.sendEnvelope(result("1.4"));
  }
  int runAnswering(const Answer& answer, std::vector<std::string> arguments) {
    requests.clear();
    greets = std::find(arguments.begin(), arguments.end(), "version") == arguments.end();
    return runAgainst([&](Connection& connection) { serve(connection, answer); }, std::move(arguments));
  }
  // Against a server that answers each request with the envelope.
  int runWith(const Value& envelope, std::vector<std::string> arguments) {
    return runAnswering([&](const Value&) { return envelope; }, std::move(arguments));
  }
  int runAgainst(ScriptedServer::Script script, std::vector<std::string> arguments) {
    const ScriptedServer server(std::move(script));
    arguments.insert(arguments.begin(), {"--port", std::to_string(server.port())});
    return run(arguments);
  }
  int run(const std::vector<std::string>& arguments) {
    out.str("");
    err.str("");
    return MoxtelClient(finder, out, err, limits, isTerminal).run(arguments);
  }
  static Value result(Value value) { return Dictionary{{"result", std::move(value)}}; }
  std::string path(const char* name) const { return (folder.path() / name).string(); }
  static std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  SystemLogCapture log;
  const TemporaryFolder folder;
  FixedFinder finder;
  SocketClientLimits limits{.answer = 10s};
  std::ostringstream out;
  std::ostringstream err;
  bool isTerminal = false;
  bool greets = true;
  Value asked;  // the last request
  std::vector<std::string> requests;
};

TEST_F(Moxtel, printsTheVersionOfTheServer) {
  EXPECT_EQ(runWith(result("1.4"), {"version"}), 0);
  EXPECT_EQ(out.str(), "1.4\n");
  EXPECT_EQ(err.str(), "");
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Get Version"}}));
}

TEST_F(Moxtel, printsContainersAsATable) {
  const Array albums{{Dictionary{{"AlbumId", "abc%1"},
                                 {"AlbumType", "Album"},
                                 {"IPAlbumType", "Smart"},
                                 {"PhotoCount", 12},
                                 {"AlbumName", "Zürich"}},
                      Dictionary{{"AlbumId", "d"}, {"AlbumType", "Folder"}}}};
  EXPECT_EQ(runWith(result(albums), {"albums"}), 0);
  EXPECT_EQ(out.str(),
            "ID     KIND         PHOTOS  NAME\n"
            "abc%1  Smart Album  12      Zürich\n"
            "d      Folder\n");
}

// A list of two photos and a movie; the second photo has no file.
Value answerAboutPhotos(const Value& request) {
  const std::string_view command = request["command"].string();
  const auto result = [](Value value) { return Value(Dictionary{{"result", std::move(value)}}); };
  if (command == "Photos of Album") {
    return result(Array{{Dictionary{{"PhotoKey", "p1"},
                                    {"MediaType", "Image"},
                                    {"latitude", 47.37},
                                    {"longitude", -8.5},
                                    {"Caption", "two\nlines"}},
                         Dictionary{{"PhotoKey", "p2"}, {"MediaType", "Image"}},
                         Dictionary{{"PhotoKey", "m"}, {"MediaType", "Movie"}}}});
  }
  if (command == "Infos of Photo") {
    return result(Dictionary{{"FileName", "IMG_" + std::string(request["key"].string()) + ".JPG"}});
  }
  if (request["key"] == Value("p2")) return Dictionary{{"error", "No Master Image"}};
  if (request["key"] == Value("m")) return result(Dictionary{{"CreationDate", Date{490006503.75}}});
  return result(Dictionary{{"{Exif}", Dictionary{{"DateTimeOriginal", "2016:07:12 09:05:03"}}}});
}

TEST_F(Moxtel, printsPhotosWithNamesAndDates) {
  EXPECT_EQ(runAnswering(answerAboutPhotos, {"photos", "abc%1"}), 0);
  EXPECT_EQ(out.str(),
            "KEY  KIND   DATE                  POSITION            NAME                      CAPTION\n"
            "p1   Image  2016-07-12 09:05:03   47.37000, -8.50000  IMG_p1.JPG                two lines\n"
            "p2   Image                                            IMG_p2.JPG\n"
            "m    Movie  2016-07-12 08:55:03Z                      IMG_m.JPG\n");
  EXPECT_EQ(requests.size(), 8u);
}

TEST_F(Moxtel, addsNamesAndDatesToTheJsonOfPhotos) {
  EXPECT_EQ(runAnswering(answerAboutPhotos, {"--json", "photos", "abc%1"}), 0);
  EXPECT_THAT(out.str(), StartsWith("[\n  {\n    \"PhotoKey\": \"p1\",\n"));
  EXPECT_THAT(out.str(),
              HasSubstr("    \"FileName\": \"IMG_p1.JPG\",\n    \"Date\": \"2016-07-12 09:05:03\"\n  },\n"));
  EXPECT_THAT(out.str(),
              testing::EndsWith(
                  "    \"FileName\": \"IMG_m.JPG\",\n    \"Date\": \"2016-07-12 08:55:03Z\"\n  }\n]\n"));
}

TEST_F(Moxtel, printsPhotosBriefly) {
  EXPECT_EQ(runAnswering(answerAboutPhotos, {"--brief", "photos", "abc%1"}), 0);
  EXPECT_EQ(out.str(),
            "KEY  KIND   POSITION            CAPTION\n"
            "p1   Image  47.37000, -8.50000  two lines\n"
            "p2   Image\n"
            "m    Movie\n");
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Photos of Album"}, {"id", "abc%1"}}));
}

// A server that ends the connection because another device waits: the rest is requested on the next one.
TEST_F(Moxtel, continuesAListOnANewConnection) {
  int served = 0;
  const auto upToThree = [&](Connection& connection) {
    greet(connection);
    for (int i = 0; i < 3; ++i) {
      const std::string request = connection.read();
      if (request.empty()) return;
      const auto decoded =
          unarchivedObject(std::span(reinterpret_cast<const std::uint8_t*>(request.data()), request.size()));
      connection.sendEnvelope(answerAboutPhotos(std::get<Value>(decoded)));
      ++served;
    }
    connection.close();
  };
  EXPECT_EQ(runAgainst(upToThree, {"photos", "x"}), 0) << err.str();
  EXPECT_EQ(served, 7);
  EXPECT_THAT(out.str(), HasSubstr("2016-07-12 08:55:03Z                      IMG_m.JPG\n"));
}

TEST_F(Moxtel, writesTheWholeListWhenTheServerStopsAnswering) {
  limits.answer = 200ms;
  int connections = 0;
  const auto onlyTheList = [&](Connection& connection) {
    greet(connection);
    connection.read();
    if (++connections == 1) {
      connection.sendEnvelope(answerAboutPhotos(Dictionary{{"command", "Photos of Album"}}));
      connection.read();
    }
    connection.read();
  };
  EXPECT_EQ(runAgainst(onlyTheList, {"photos", "x"}), 1);
  EXPECT_THAT(out.str(), HasSubstr("\nm    Movie\n"));
  EXPECT_THAT(err.str(), StartsWith("moxtel: some names and dates are missing: "));
}

TEST_F(Moxtel, printsDictionariesAsLines) {
  const Dictionary metadata{{"Width", 640},
                            {"Exif", Dictionary{{"FNumber", 2.8}, {"Flash", false}}},
                            {"Raw", Bytes{1, 2}},
                            {"Tags", Array{{"a", "b"}}}};
  EXPECT_EQ(runWith(result(metadata), {"metadata", "k"}), 0);
  EXPECT_EQ(out.str(),
            "Width: 640\nExif:\n  FNumber: 2.8\n  Flash: no\nRaw: (2 bytes)\nTags:\n  - a\n  - b\n");
}

TEST_F(Moxtel, printsJson) {
  const Dictionary everything{{"text", "a\"\\\n\x1b[2J\xc2\x9b"},
                              {"one", 1},
                              {"real", 1.5},
                              {"whole", 2.0},
                              {"yes", true},
                              {"large", UINT64_MAX},
                              {"none", Value()},
                              {"endless", HUGE_VAL},
                              {"data", Bytes{'M', 'o', 'x', 't'}},
                              {"date", Date{490006503.0}},
                              {"empty", Array()},
                              {"blank", Dictionary()},
                              {"list", Array{{1, "é"}}}};
  EXPECT_EQ(runWith(result(everything), {"--json", "infos", "k"}), 0);
  EXPECT_EQ(out.str(), R"({
  "text": "a\"\\\n\u001b[2J\u009b",
  "one": 1,
  "real": 1.5,
  "whole": 2.0,
  "yes": true,
  "large": 18446744073709551615,
  "none": null,
  "endless": null,
  "data": "TW94dA==",
  "date": "2016-07-12T08:55:03Z",
  "empty": [],
  "blank": {},
  "list": [
    1,
    "é"
  ]
}
)");
}

TEST_F(Moxtel, keepsControlCharactersFromTheTerminal) {
  const std::string hostile = "a\x1b]0;title\x07\x7f\xc2\x9b\xe2\x80\xae\xff z";
  const std::string harmless = "a\\u001b]0;title\\u0007\\u007f\\u009b\\u202e� z";
  EXPECT_EQ(runWith(result(Array{{Dictionary{{"AlbumName", hostile}}}}), {"albums"}), 0);
  EXPECT_THAT(out.str(), HasSubstr(harmless));
  EXPECT_EQ(runWith(result(hostile), {"version"}), 0);
  EXPECT_EQ(out.str(), harmless + "\n");
  EXPECT_EQ(runWith(result(Dictionary{{hostile, hostile}}), {"infos", "k"}), 0);
  EXPECT_EQ(out.str(), harmless + ": " + harmless + "\n");
  EXPECT_EQ(runWith(Dictionary{{"error", hostile}}, {"albums"}), 1);
  EXPECT_EQ(err.str(), "moxtel: " + harmless + "\n");
}

TEST_F(Moxtel, savesAThumbnail) {
  const Bytes picture{0xFF, 0xD8, 0, 0x1B, '\n'};
  EXPECT_EQ(runWith(result(picture), {"thumb", "k%1", "-o", path("x.jpg")}), 0);
  EXPECT_EQ(contents(path("x.jpg")), std::string(picture.begin(), picture.end()));
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Thumb of Photo"}, {"key", "k%1"}}));
  EXPECT_EQ(runWith(result(picture), {"thumb", "k%1", "-o", "-"}), 0);
  EXPECT_EQ(out.str(), std::string(picture.begin(), picture.end()));
}

TEST_F(Moxtel, reportsWhatItCannotSave) {
  EXPECT_EQ(runWith(result("text"), {"thumb", "k", "-o", path("x.jpg")}), 1);
  EXPECT_EQ(err.str(), "moxtel: the server's answer is not data\n");
  EXPECT_FALSE(std::filesystem::exists(path("x.jpg")));
  EXPECT_EQ(runWith(result(Bytes{1}), {"thumb", "k", "-o", path("no/such/folder")}), 1);
  EXPECT_THAT(err.str(), StartsWith("moxtel: could not write "));
}

TEST_F(Moxtel, reportsTheErrorOfTheServer) {
  EXPECT_EQ(runWith(Dictionary{{"error", "Album not found"}}, {"folders", "x"}), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(err.str(), "moxtel: Album not found: " + std::string(kLibraryIsAway) + "\n");
}

TEST_F(Moxtel, sendsPositionsAsNumbers) {
  EXPECT_EQ(runWith(result("Set GPS to -47.5/8"), {"set-gps", "k", "-47.5", "8"}), 0);
  EXPECT_EQ(asked,
            Value(Dictionary{
                {"command", "Set GPS of Photo"}, {"key", "k"}, {"latitude", -47.5}, {"longitude", 8.0}}));
}

TEST_F(Moxtel, sendsAnyCommand) {
  EXPECT_EQ(runWith(result("ok"), {"command", "Do It", "key=a=b", "id:=-3", "isFace:=true", "x:=1.5"}), 0);
  EXPECT_EQ(asked, Value(Dictionary{
                       {"command", "Do It"}, {"key", "a=b"}, {"id", -3}, {"isFace", true}, {"x", 1.5}}));
}

TEST_F(Moxtel, asksForTheSquareThumbnailOfAFace) {
  EXPECT_EQ(runWith(result(Bytes{1}), {"square-thumb", "f", "--face", "-o", path("f")}), 0);
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Square Thumb of Photo"}, {"key", "f"}, {"isFace", true}}));
}

TEST_F(Moxtel, rejectsAWrongCommandLine) {
  for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
           {},
           {"frobnicate"},
           {"albums", "too", "many"},
           {"photos"},
           {"thumb", "k"},
           {"--port", "0", "albums"},
           {"--port", "65536", "albums"},
           {"--port", "4x", "albums"},
           {"--port", "0x1092", "albums"},
           {"--port=", "4250", "albums"},
           {"--output=", "file", "data", "k"},
           {"--port"},
           {"--colour", "albums"},
           {"command"},
           {"command", "x", "no equals sign"},
           {"command", "x", "id:=text"},
           {"set-gps", "k", "north", "8"},
           {"set-gps", "k", "nan", "8"},
       }) {
    EXPECT_EQ(run(wrong), 2) << testing::PrintToString(wrong);
    EXPECT_THAT(err.str(), StartsWith("moxtel: "));
    EXPECT_EQ(out.str(), "");
  }
}

TEST_F(Moxtel, namesWhatIsWrongWithACommandLine) {
  const auto complaint = [&](const std::vector<std::string>& wrong) {
    EXPECT_EQ(run(wrong), 2);
    return err.str();
  };
  EXPECT_EQ(complaint({}), "moxtel: no command\nTry 'moxtel --help'.\n");
  EXPECT_THAT(complaint({"frobnicate"}), HasSubstr("not expected: frobnicate"));
  EXPECT_THAT(complaint({"photos"}), HasSubstr("ID is required"));
  EXPECT_THAT(complaint({"thumb", "k"}), HasSubstr("thumb needs -o FILE"));
  EXPECT_THAT(complaint({"--port", "0", "albums"}), HasSubstr("--port: Value 0 not in range 1 to 65535"));
  EXPECT_THAT(complaint({"--port"}), HasSubstr("--port: 1 required PORT missing"));
  EXPECT_THAT(complaint({"--output=", "file", "data", "k"}), HasSubstr("--output= has no value"));
  EXPECT_THAT(complaint({"albums", "\x1b[2J"}), HasSubstr("not expected: \\u001b[2J"));
}

TEST_F(Moxtel, helps) {
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("\nusage: moxtel [OPTION"));
  EXPECT_THAT(out.str(), HasSubstr("\n  square-thumb KEY -o FILE "));
  std::istringstream help(out.str());
  for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
  EXPECT_EQ(run({"albums", "--version"}), 0);
  EXPECT_THAT(out.str(), StartsWith("moxtel 1.4"));
}

TEST_F(Moxtel, helpsWithOneCommand) {
  EXPECT_EQ(run({"set-gps", "--help"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("\nusage: moxtel set-gps KEY LATITUDE LONGITUDE\n"));
  EXPECT_EQ(err.str(), "");
}

TEST_F(Moxtel, takesOptionsBeforeAndAfterTheCommand) {
  EXPECT_EQ(runWith(result("x"), {"--json", "photos", "events"}), 0);
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Photos of Album"}, {"id", "events"}}));
  EXPECT_EQ(out.str(), "\"x\"\n");
  EXPECT_EQ(runWith(result("x"), {"photos", "--json", "--", "--json"}), 0);
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Photos of Album"}, {"id", "--json"}}));
  EXPECT_EQ(out.str(), "\"x\"\n");
}

TEST_F(Moxtel, readsPortsAsDecimalNumbers) {
  const auto options = parseOptions({"--port", "04250", "albums"});
  EXPECT_EQ(std::get<ClientRequest>(options).port, 4250);
}

TEST_F(Moxtel, takesAnArgumentThatEndsInAnEqualsSign) {
  EXPECT_EQ(runWith(result("x"), {"photos", "--", "--a="}), 0);
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Photos of Album"}, {"id", "--a="}}));
}

TEST_F(Moxtel, asksTheFinderOnlyWithoutAnAddress) {
  EXPECT_EQ(run({"version"}), 1);
  EXPECT_EQ(err.str(), "moxtel: no server was found\n");
  EXPECT_EQ(run({"--port", std::to_string(unusedPort()), "version"}), 1);
  EXPECT_THAT(err.str(), StartsWith("moxtel: could not connect to 127.0.0.1, port "));
}

TEST_F(Moxtel, asksTheServerThatWasFound) {
  const ScriptedServer server([](Connection& connection) { greet(connection); });
  finder.answer = ServerAddress{"127.0.0.1", server.port()};
  EXPECT_EQ(run({"version"}), 0);
  EXPECT_EQ(out.str(), "1.4\n");
}

TEST_F(Moxtel, usesAConnectionForEachCommand) {
  const ScriptedServer server([](Connection& connection) {
    greet(connection);
    connection.read();
    connection.sendEnvelope(Dictionary{{"error", "No Image"}});
    connection.sendEnvelope(Dictionary{{"error", "second answer"}});
  });
  finder.answer = ServerAddress{"127.0.0.1", server.port()};
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(run({"infos", ""}), 1);
    EXPECT_EQ(err.str(), "moxtel: No Image\n");
    EXPECT_EQ(server.connections(), i);
  }
}

TEST_F(Moxtel, survivesAnyServer) {
  limits.answer = 100ms;
  const auto read = [](Connection& connection) { connection.read(); };
  EXPECT_EQ(runAgainst(read, {"version"}), 1);
  EXPECT_EQ(err.str(), "moxtel: the server closed the connection without an answer\n");
  EXPECT_EQ(runAgainst([&](Connection& c) { read(c), read(c); }, {"version"}), 1);
  EXPECT_EQ(err.str(),
            "moxtel: the server accepted the connection but did not answer within 1 second: another device "
            "is probably "
            "connected, and it serves one at a time\n");
  EXPECT_EQ(runAgainst([&](Connection& c) { read(c), c.send(Connection::lengthOf(0xFFFFFFFF)), read(c); },
                       {"version"}),
            1);
  EXPECT_EQ(err.str(), "moxtel: the server's answer is too long\n");
  EXPECT_EQ(runAgainst([&](Connection& c) { read(c), c.sendFrame("bplist00 not"), read(c); }, {"version"}),
            1);
  EXPECT_THAT(err.str(), StartsWith("moxtel: the server's answer cannot be read: "));
  EXPECT_EQ(runAgainst([&](Connection& c) { read(c), c.sendFrame(""), read(c); }, {"version"}), 1);
  EXPECT_THAT(err.str(), StartsWith("moxtel: the server's answer cannot be read: "));
  for (const Value& strange : {Value("text"), Value(Dictionary()), Value(Dictionary{{"error", 5}})}) {
    EXPECT_EQ(runWith(strange, {"version"}), 1);
    EXPECT_EQ(err.str(), "moxtel: the server's answer contains no result\n");
  }
}

TEST_F(Moxtel, showsUnexpectedResultsToo) {
  EXPECT_EQ(runWith(result(Array{{1, "text", Array()}}), {"albums"}), 0);
  EXPECT_EQ(runWith(result(Dictionary{{"AlbumId", 1}}), {"albums"}), 0);
  EXPECT_EQ(out.str(), "AlbumId: 1\n");
  EXPECT_EQ(runWith(result(Array{{Dictionary{{"AlbumName", Array{{1}}}}}}), {"albums"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("…"));
}

TEST_F(Moxtel, saysThatAnotherDeviceIsProbablyConnected) {
  limits.answer = 100ms;
  const auto silent = [](Connection& connection) {
    connection.read();
    connection.read();
  };
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"albums"}, {"photos", "x"}, {"data", "k", "-o", path("x")}}) {
    EXPECT_EQ(runAgainst(silent, command), 1);
    EXPECT_THAT(err.str(), HasSubstr("another device is probably connected"));
    EXPECT_EQ(out.str(), "");
  }
}

TEST_F(Moxtel, saysSomethingElseOfARequestWithoutAnAnswer) {
  limits.answer = 100ms;
  const auto silent = [](Connection& connection) {
    greet(connection);
    connection.read();
    connection.read();
  };
  EXPECT_EQ(runAgainst(silent, {"infos", "k"}), 1);
  EXPECT_EQ(err.str(),
            "moxtel: no answer within 1 second: the server is busy, cannot read its library, or has no such "
            "photo\n");
}

TEST_F(Moxtel, failsWhenAnEditIsRefused) {
  const auto refusal = [&](const char* text, const std::vector<std::string>& command) {
    const auto answer = [&](const Value& request) {
      if (request["command"].string().starts_with("Get ")) return result(Array{Dictionary{{"AlbumId", "a"}}});
      return result(text);
    };
    EXPECT_EQ(runAnswering(answer, command), 1) << text;
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(err.str(), std::string("moxtel: ") + text + "\n");
  };
  refusal("Don't want to reveal photo", {"reveal-photo", "k"});
  refusal("Can not reveal version id 'k'", {"reveal-photo", "k"});
  refusal("Don't want to reveal anything", {"reveal-album", "a"});
  refusal("Can not reveal album", {"reveal-event", "a"});
  refusal("Can not reveal album", {"command", "Reveal Event", "id=a"});
  refusal("Bad data for GPS", {"set-gps", "k", "1", "2"});
  EXPECT_EQ(runWith(Dictionary{{"error", "Bad data for GPS"}}, {"set-gps", "k", "1", "2"}), 1);
  EXPECT_EQ(runWith(Dictionary{{"error", "No Image"}}, {"clear-gps", ""}), 1);
  EXPECT_EQ(runWith(result("Revealed Photo"), {"reveal-photo", "k"}), 0);
  EXPECT_EQ(runWith(result("Cleared GPS"), {"clear-gps", "k"}), 0);
}

// Album a; folder f with album b; event e; person p.
Value answerAboutLists(const Value& request) {
  const std::string_view command = request["command"].string();
  const auto list = [](const char* id, const char* type) {
    return Value(Dictionary{{"result", Array{Dictionary{{"AlbumId", id}, {"AlbumType", type}}}}});
  };
  if (command == "Get Albums") {
    return Dictionary{{"result", Array{{Dictionary{{"AlbumId", "a"}, {"AlbumType", "Album"}},
                                        Dictionary{{"AlbumId", "f"}, {"AlbumType", "Folder"}}}}}};
  }
  if (command == "Get Events") return list("e", "Project");
  if (command == "Get Faces") return list("p", "Face");
  if (command == "Folders of Album" && request["id"] == Value("f")) return list("b", "Album");
  if (command == "Folders of Album" && request["id"] == Value("LibraryFolder")) {
    return list("AllProjectsItem", "Folder");
  }
  return Dictionary{{"result", command.starts_with("Reveal") ? Value("Revealed Album") : Value(Array())}};
}

TEST_F(Moxtel, failsForAnIdThatIsInNoList) {
  for (const char* command : {"photos", "folders", "reveal-album", "reveal-event"}) {
    EXPECT_EQ(runAnswering(answerAboutLists, {command, "x"}), 1);
    EXPECT_EQ(err.str(), "moxtel: no album, event or folder has the id x\n");
    EXPECT_EQ(out.str(), "");
    for (const char* id : {"a", "b", "e", "f"})
      EXPECT_EQ(runAnswering(answerAboutLists, {command, id}), 0) << id;
  }
  EXPECT_EQ(runAnswering(answerAboutLists, {"face-photos", "a"}), 1);
  EXPECT_EQ(err.str(), "moxtel: no person has the id a\n");
  EXPECT_EQ(runAnswering(answerAboutLists, {"face-photos", "p"}), 0);
  EXPECT_EQ(runAnswering(answerAboutLists, {"photos", "allPhotosAlbum"}), 0);
}

// A server that cannot read its library lists nothing, not even the folders that every library has.
TEST_F(Moxtel, saysThatTheLibraryIsAwayInsteadOfAnEmptyList) {
  const auto nothing = [](const Value&) { return Value(Dictionary{{"result", Array()}}); };
  const std::vector<std::vector<std::string>> listings{
      {"albums"}, {"events"}, {"faces"}, {"photos", "allPhotosAlbum"}, {"photos", "x"}, {"folders", "x"}};
  for (const auto& arguments : listings) {
    EXPECT_EQ(runAnswering(nothing, arguments), 1) << arguments[0];
    EXPECT_EQ(err.str(), std::string("moxtel: ") + kLibraryIsAway + "\n") << arguments[0];
    EXPECT_EQ(out.str(), "");
  }
  const auto neverRead = [](const Value& request) {
    if (request["command"] == Value("Folders of Album"))
      return Value(Dictionary{{"error", "Album not found"}});
    return Value(Dictionary{{"result", Array()}});
  };
  for (const auto& arguments : listings) {
    EXPECT_EQ(runAnswering(neverRead, arguments), 1) << arguments[0];
    EXPECT_THAT(err.str(), testing::HasSubstr(kLibraryIsAway)) << arguments[0];
  }
}

TEST_F(Moxtel, showsTheEmptyListOfAnEmptyLibrary) {
  const auto empty = [](const Value& request) {
    return request["id"] == Value("LibraryFolder") ? answerAboutLists(request)
                                                   : Value(Dictionary{{"result", Array()}});
  };
  EXPECT_EQ(runAnswering(empty, {"albums"}), 0);
  EXPECT_EQ(err.str(), "");
}

TEST_F(Moxtel, endsForAFolderThatContainsItself) {
  const auto endless = [](const Value&) {
    return Value(Dictionary{{"result", Array{Dictionary{{"AlbumId", "f"}, {"AlbumType", "Folder"}}}}});
  };
  EXPECT_EQ(runAnswering(endless, {"reveal-album", "x"}), 1);
  EXPECT_EQ(requests.size(), 4u);
}

TEST_F(Moxtel, writesDataAsJson) {
  const Bytes picture(500'000, 0x4D);
  EXPECT_EQ(runWith(result(picture), {"--json", "data", "k"}), 0);
  EXPECT_EQ(out.str(), "\"" + base64(picture) + "\"\n");
}

TEST_F(Moxtel, replacesAFileOnlyWhenTheDownloadIsComplete) {
  const std::string file = path("x.jpg");
  std::ofstream(file) << "old";
  const auto half = [](Connection& c) {
    greet(c);
    c.read();
    c.send(Connection::lengthOf(1000) + "half");
    c.close();
  };
  EXPECT_EQ(runAgainst(half, {"data", "k", "-o", file}), 1);
  EXPECT_EQ(err.str(), "moxtel: the server's answer broke off\n");
  EXPECT_EQ(contents(file), "old");
  EXPECT_FALSE(std::filesystem::exists(file + ".part"));
  EXPECT_EQ(runWith(result(Bytes{'n', 'e', 'w'}), {"data", "k", "-o", file}), 0);
  EXPECT_EQ(contents(file), "new");
  EXPECT_FALSE(std::filesystem::exists(file + ".part"));
}

TEST_F(Moxtel, requestsDataAgainThatBrokeOff) {
  int connections = 0;
  const auto second = [&](Connection& c) {
    greet(c);
    c.read();
    if (++connections == 1) {
      c.send(Connection::lengthOf(1000) + "half");
      return c.close();
    }
    c.sendEnvelope(result(Bytes{'a', 'l', 'l'}));
    c.read();
  };
  EXPECT_EQ(runAgainst(second, {"data", "k", "-o", path("x")}), 0);
  EXPECT_EQ(contents(path("x")), "all");
}

TEST_F(Moxtel, saysWhatADownloadLacks) {
  EXPECT_EQ(run({"download", "--help"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("The same command continues after any end"));
  EXPECT_THAT(out.str(), HasSubstr("moxtel-export takes them from the library itself"));
}

TEST_F(Moxtel, keepsTheNamesOfAHostileServerInTheFolder) {
  const std::vector<std::string> names{"../../out.jpg",
                                       "/etc/out.jpg",
                                       "..",
                                       ".bashrc",
                                       ".profile.jpg",
                                       "photos.jsonl",
                                       "PHOTOS.jsonl",
                                       "a\nb\x1B[31m",
                                       "CON",
                                       "",
                                       "same.jpg",
                                       "SAME.jpg",
                                       ".moxtel-download",
                                       std::string(4000, 'x'),
                                       std::string("nul\0.jpg", 8)};
  const auto answer = [&](const Value& request) {
    const std::string_view command = request["command"].string();
    if (command == "Photos of Album") {
      std::vector<Value> photos{Value(7), Value(Dictionary{{"PhotoKey", 7}}), Value(Dictionary())};
      for (std::size_t i = 0; i < names.size(); ++i)
        photos.emplace_back(Dictionary{{"PhotoKey", "../" + std::to_string(i)}});
      return result(Array(photos, Mutability::Immutable));
    }
    if (command == "Data of Photo") return result(Bytes{'d', 'a', 't', 'a'});
    if (command != "Infos of Photo") return result(Value(7));
    return result(
        Dictionary{{"FileName", names.at(std::stoul(std::string(request["key"].string().substr(3))))}});
  };
  const std::string target = path("a/b");
  EXPECT_EQ(runAnswering(answer, {"download", "id", "-o", target}), 1);  // three photos have no key
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    if (entry.is_directory()) continue;
    EXPECT_EQ(entry.path().parent_path(), target);
    EXPECT_FALSE(name.starts_with('.')) << name;
    EXPECT_EQ(name.find_first_of("\n\x1B"), std::string::npos);
    if (name == "photos.jsonl") continue;
    EXPECT_EQ(contents(entry.path()), "data") << name;
    ++files;
  }
  EXPECT_EQ(files, names.size());
  const std::string record = contents(target + "/photos.jsonl");
  EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), static_cast<std::ptrdiff_t>(names.size()));
  EXPECT_EQ(err.str().find('\x1B'), std::string::npos);
}

TEST_F(Moxtel, showsTheProgressOfADownloadOnATerminal) {
  isTerminal = true;
  EXPECT_EQ(runWith(result(Bytes(3'000'000, 1)), {"data", "k", "-o", path("x")}), 0);
  EXPECT_THAT(err.str(), HasSubstr("\r3 of 3 MB (100 %)"));
  EXPECT_THAT(err.str(), testing::EndsWith(" \r"));
  EXPECT_EQ(runWith(result(Bytes(1000, 1)), {"data", "k", "-o", path("x")}), 0);
  EXPECT_EQ(err.str(), "");
  isTerminal = false;
  EXPECT_EQ(runWith(result(Bytes(3'000'000, 1)), {"data", "k", "-o", path("x")}), 0);
  EXPECT_EQ(err.str(), "");
}

TEST_F(Moxtel, cutsCellsToTheColumn) {
  const std::string name(1000, 'n');
  EXPECT_EQ(runWith(result(Array{{Dictionary{{"AlbumId", "a"}, {"AlbumName", name}},
                                  Dictionary{{"AlbumId", name}, {"AlbumName", "b"}}}}),
                    {"albums"}),
            0);
  const std::string cut = std::string(59, 'n') + "…";
  EXPECT_THAT(out.str(), HasSubstr("  " + cut + "\n"));
  EXPECT_THAT(out.str(), HasSubstr("\n" + cut + "                b\n"));
}

// Few bytes that refer to one long text very often: bounded by what would be printed.
TEST_F(Moxtel, rejectsAnArchiveThatUnfoldsIntoMuchText) {
  const Value text = std::string(50'000, 'x');
  const Array many(std::vector<Value>(3'000, text), Mutability::Immutable);
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"--json", "albums"}, {"albums"}, {"infos", "k"}}) {
    EXPECT_EQ(runWith(result(many), command), 1);
    EXPECT_EQ(err.str(), "moxtel: the server's answer unfolds into too much text\n");
    EXPECT_EQ(out.str(), "");
  }
}

// Rejects a small archive that unfolds into very many values before it prints any.
TEST_F(Moxtel, rejectsAnArchiveThatUnfoldsIntoManyValues) {
  Value shared = "x";
  for (int level = 0; level < 8; ++level)
    shared = Array(std::vector<Value>(10, shared), Mutability::Immutable);
  EXPECT_EQ(runWith(result(shared), {"--json", "version"}), 1);
  EXPECT_THAT(err.str(), StartsWith("moxtel: the server's answer cannot be read: "));
  EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace moxtel
