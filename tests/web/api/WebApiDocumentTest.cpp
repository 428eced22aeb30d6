// Sends the requests of docs/web-api.md, and compares the replies with the document. With
// MOXTEL_WRITE_EXAMPLES in the environment, it updates the replies in the document; the requests stay.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/process/ChildProcess.h"
#include "tests/web/PageFixture.h"
#include "web/files/FileHandlers.h"

namespace moxtel::test {

namespace {

constexpr std::string_view kBegin = "```example\nGET ", kEnd = "```";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

// A line for each key, and for each entry of a list of objects.
std::string shown(const Json& json) {
  std::string text;
  for (const auto& [key, value] : json.items()) {
    text += text.empty() ? "{\n" : ",\n";
    text += " \"" + key + "\": ";
    const bool isList = value.is_array() && !value.empty() && value[0].is_object();
    if (!isList) text += value.dump();
    for (std::size_t i = 0; isList && i < value.size(); ++i)
      text += (i == 0 ? "[\n  " : ",\n  ") + value[i].dump();
    if (isList) text += "]";
  }
  return text + "\n}\n";
}

class NoSignatures final : public AddressSigner {
 public:
  std::string signatureFor(std::string_view) const override { return ""; }
};

class WebApiDocumentTest : public testing::Test {
 protected:
  WebApiDocumentTest() {
    while (page_.api("library")["search"] != "ready") std::this_thread::yield();
    id_ = page_.root().substr(3, 8);
    version_ = page_.api("library")["version"];
    std::stringstream text;
    text << std::ifstream(MOXTEL_WEB_API).rdbuf();
    document_ = text.str();
  }
  static std::string makeLibrary(const std::filesystem::path& folder) {
    makelibrary::MakeLibraryOptions options;
    options.folder = folder;
    options.photos = 12;
    options.seed = 7;
    options.faces = options.projects = options.albums = 2;
    options.images = makelibrary::Images::Small;
    makelibrary::makeLibrary(options);
    return folder.string();
  }
  std::string withNames(const std::string& text) const {
    std::string named = replaced(replaced(text, id_, "LIB"), version_, "VERSION");
    // The version of a search depends on its index, too.
    const std::string_view key = "\"version\": \"";
    const std::size_t at = named.find(key);
    if (at != std::string::npos && named.compare(at + key.size(), 7, "VERSION") != 0)
      named.replace(at + key.size(), 16, "VERSION");
    return named;
  }
  std::string example(const std::string& address) {
    const HttpReply reply = page_.fetch(replaced(replaced(address, "LIB", id_), "VERSION", version_));
    const Json json = Json::parse(std::get<std::string>(reply.body), nullptr, false);
    return std::string(kBegin) + address + "\n" + std::to_string(reply.status) + "\n" +
           withNames(shown(json)) + std::string(kEnd);
  }

  FileHandlersOptions fileOptions() const {
    FileHandlersOptions options;
    options.cacheFolder = folder_.path() / "files";
    options.pictureDecoder = MOXTEL_DECODER;
    return options;
  }

  TemporaryFolder folder_;
  SystemProcessRunner processes_;
  NoSignatures signer_;
  FileHandlers files_{fileOptions(), processes_, signer_};
  Page page_{makeLibrary(folder_.path() / "Sample"), "", (folder_.path() / "cache").string(), &files_};
  std::string id_, version_, document_;
};

TEST_F(WebApiDocumentTest, hasExamplesThatMatchTheServer) {
  int examples = 0;
  std::string written;
  std::size_t done = 0;
  for (std::size_t at = document_.find(kBegin); at != std::string::npos;
       at = document_.find(kBegin, done), ++examples) {
    const std::size_t address = at + kBegin.size();
    const std::size_t end = document_.find(kEnd, address) + kEnd.size();
    const std::string now = example(document_.substr(address, document_.find('\n', address) - address));
    const bool compares = !std::getenv("MOXTEL_WRITE_EXAMPLES");
    if (compares) {
      EXPECT_EQ(document_.substr(at, end - at), now);
    }
    written += document_.substr(done, at - done) + now;
    done = end;
  }
  EXPECT_GT(examples, 10);
  if (std::getenv("MOXTEL_WRITE_EXAMPLES")) std::ofstream(MOXTEL_WEB_API) << written + document_.substr(done);
}

}  // namespace

}  // namespace moxtel::test
