#include "client/MoxtelClient.h"

#include <fstream>
#include <sstream>

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
  // Runs the program against a server that answers each request with the envelope.
  int runWith(const Value& envelope, std::vector<std::string> arguments) {
    return runAgainst(
        [&](Connection& connection) {
          const std::string request = connection.read();
          const auto decoded = unarchivedObject(
              std::span(reinterpret_cast<const std::uint8_t*>(request.data()), request.size()));
          asked = std::get<Value>(decoded);
          connection.sendEnvelope(envelope);
          connection.read();
        },
        std::move(arguments));
  }
  int runAgainst(ScriptedServer::Script script, std::vector<std::string> arguments) {
    const ScriptedServer server(std::move(script));
    arguments.insert(arguments.begin(), {"--port", std::to_string(server.port())});
    return run(arguments);
  }
  int run(const std::vector<std::string>& arguments) {
    out.str("");
    err.str("");
    return MoxtelClient(finder, out, err, limits).run(arguments);
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
  Value asked;
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

TEST_F(Moxtel, printsPhotosAsATable) {
  const Array photos{{Dictionary{{"PhotoKey", "p1"},
                                 {"MediaType", "Image"},
                                 {"latitude", 47.37},
                                 {"longitude", -8.5},
                                 {"Caption", "two\nlines"}}}};
  EXPECT_EQ(runWith(result(photos), {"photos", "abc%1"}), 0);
  EXPECT_EQ(out.str(),
            "KEY  KIND   POSITION            CAPTION\n"
            "p1   Image  47.37000, -8.50000  two lines\n");
  EXPECT_EQ(asked, Value(Dictionary{{"command", "Photos of Album"}, {"id", "abc%1"}}));
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
  const std::string harmless = "a�]0;title����� z";
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
  EXPECT_EQ(err.str(), "moxtel: Album not found\n");
}

TEST_F(Moxtel, sendsPositionsAsNumbers) {
  EXPECT_EQ(runWith(result("Set GPS"), {"set-gps", "k", "-47.5", "8"}), 0);
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
  EXPECT_THAT(complaint({"albums", "\x1b[2J"}), HasSubstr("not expected: �[2J"));
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
  const ScriptedServer server([](Connection& connection) {
    connection.read();
    connection.sendEnvelope(result("1.4"));
  });
  finder.answer = ServerAddress{"127.0.0.1", server.port()};
  EXPECT_EQ(run({"version"}), 0);
  EXPECT_EQ(out.str(), "1.4\n");
}

TEST_F(Moxtel, usesAConnectionForEachCommand) {
  const ScriptedServer server([](Connection& connection) {
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
  EXPECT_EQ(err.str(), "moxtel: no answer within 1 second\n");
  EXPECT_EQ(runAgainst([&](Connection& c) { read(c), c.send(Connection::lengthOf(0xFFFFFFFF)), read(c); },
                       {"version"}),
            1);
  EXPECT_EQ(err.str(), "moxtel: the server's answer broke off\n");
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
