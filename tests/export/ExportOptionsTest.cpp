#include "export/ExportOptions.h"

namespace moxtel {
namespace {

using Options = ExportOptions;

Options parsed(const std::vector<std::string>& arguments) {
  const auto result = parseExportOptions(arguments);
  const auto* options = std::get_if<Options>(&result);
  EXPECT_NE(options, nullptr) << std::get<ExportMessage>(result).text;
  return options ? *options : Options();
}

ExportMessage refused(const std::vector<std::string>& arguments) {
  const auto result = parseExportOptions(arguments);
  const auto* message = std::get_if<ExportMessage>(&result);
  EXPECT_NE(message, nullptr);
  return message ? *message : ExportMessage{};
}

TEST(ExportOptions, takesTheLastPathForTheTarget) {
  const Options options = parsed({"a", "b", "to", "--dry-run"});
  EXPECT_EQ(options.libraries, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(options.target, "to");
  EXPECT_TRUE(options.dryRun);
}

TEST(ExportOptions, exportsEverythingByDefault) {
  const Options options = parsed({"a", "to"});
  EXPECT_EQ(options.layout, Options::Layout::Events);
  EXPECT_EQ(options.versions, Options::Versions::Both);
  EXPECT_EQ(options.sidecars, Options::Sidecars::Xmp);
  EXPECT_EQ(options.sidecarName, Options::SidecarName::WholeName);
  EXPECT_EQ(options.hidden, Options::Hidden::Separate);
  EXPECT_TRUE(options.albumTags && options.albumLists && options.checksums);
  EXPECT_FALSE(options.albumLinks || options.trash || options.embed || options.verify);
}

TEST(ExportOptions, readsEveryChoice) {
  const Options options = parsed({"a",
                                  "to",
                                  "--layout",
                                  "dates",
                                  "--versions",
                                  "edited",
                                  "--sidecar-name",
                                  "x.xmp",
                                  "--albums",
                                  "lists,links",
                                  "--link",
                                  "symbolic",
                                  "--only",
                                  "Rome",
                                  "--only",
                                  "Suzy",
                                  "--since",
                                  "2009-07-04",
                                  "--hidden",
                                  "leave",
                                  "--referenced",
                                  "Photos 2011=/mnt/x",
                                  "--referenced",
                                  "/mnt/y",
                                  "--no-checksums"});
  EXPECT_EQ(options.layout, Options::Layout::Dates);
  EXPECT_EQ(options.versions, Options::Versions::Edited);
  EXPECT_EQ(options.sidecarName, Options::SidecarName::Stem);
  EXPECT_FALSE(options.albumTags || options.checksums);
  EXPECT_TRUE(options.albumLists && options.albumLinks);
  EXPECT_EQ(options.link, Options::Link::Symbolic);
  EXPECT_EQ(options.only, (std::vector<std::string>{"Rome", "Suzy"}));
  EXPECT_EQ(options.since, 1'246'665'600);
  EXPECT_EQ(options.hidden, Options::Hidden::Leave);
  EXPECT_EQ(options.referenced, (std::vector<std::string>{"Photos 2011=/mnt/x", "/mnt/y"}));
  // A name after an option is not a path.
  EXPECT_EQ(options.libraries, (std::vector<std::string>{"a"}));
}

TEST(ExportOptions, refusesWhatItDoesNotKnow) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"only-one"},
                                             {"a", "to", "--layout", "years"},
                                             {"a", "to", "--albums", "tag"},
                                             {"a", "to", "--since", "2009-02-30"},
                                             {"a", "to", "--referenced", "relative"},
                                             {"a", "to", "--embed", "--link", "symbolic"},
                                             {"a", "to", "--verify", "--no-checksums"},
                                             {"a", "to", "--unknown"}}) {
    const ExportMessage message = refused(arguments);
    EXPECT_EQ(message.exitStatus, 1);
    EXPECT_TRUE(message.text.starts_with("moxtel-export: ")) << message.text;
  }
}

TEST(ExportOptions, namesItsGroupsInTheHelp) {
  const ExportMessage help = refused({"--help"});
  EXPECT_EQ(help.exitStatus, 0);
  for (const char* group :
       {"Which photos:", "Folders and files:", "Running:", "Examples:", "130 interrupted"})
    EXPECT_NE(help.text.find(group), std::string::npos) << group;
}

}  // namespace
}  // namespace moxtel
