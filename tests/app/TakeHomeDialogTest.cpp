#include "app/windows/TakeHomeDialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QComboBox>
#include <QCoreApplication>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kPlanned =
    R"(echo '{"progress":{"step":"planned","ofFiles":1234,"ofBytes":5600000,"sidecars":9,"freeBytes":FREE}}')";

// Stands in for moxtel-export: a script that writes its arguments to a file, one a line.
class TakeHomeDialogTest : public testing::Test {
 protected:
  TakeHomeDialogTest() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

  void program(const std::string& measuring, const std::string& copying) {
    const std::string path = (folder.path() / "exporter").string();
    std::ofstream script(path);
    script << "#!/bin/sh\nif [ \"$1\" = --dry-run ]; then\n"
           << measuring << "\nexit 0\nfi\n"
           << "printf '%s\\n' \"$@\" > " << (folder.path() / "arguments").string() << "\n"
           << copying << "\n";
    script.close();
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    dialog = std::make_unique<TakeHomeDialog>("/photos/Old Library", QString::fromStdString(path));
    dialog->open = [this](const QUrl& url) { opened.push_back(url.toString().toStdString()); };
  }
  static std::string planned(const std::string& free) {
    std::string line = kPlanned;
    return line.replace(line.find("FREE"), 4, free);
  }

  template <class Kind>
  Kind& part(const char* name) {
    Kind* found = dialog->findChild<Kind*>(name);
    if (!found) throw std::runtime_error(name);
    return *found;
  }
  std::string shown(const char* name) { return part<QLabel>(name).text().toStdString(); }
  QPushButton& start() { return part<QPushButton>("start"); }

  // Handles events until the label shows another text than these.
  std::string awaitOther(const char* name, std::vector<std::string> than) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < end) {
      const std::string now = shown(name);
      if (std::find(than.begin(), than.end(), now) == than.end()) return now;
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return "nothing else was shown";
  }
  std::string awaitSize() { return awaitOther("size", {"Determining the size …"}); }
  std::vector<std::string> arguments() {
    std::ifstream file(folder.path() / "arguments");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  const TemporaryFolder folder;
  std::vector<std::string> opened;
  std::unique_ptr<TakeHomeDialog> dialog;
};

TEST_F(TakeHomeDialogTest, asksForAFolderFirst) {
  program("", "");
  EXPECT_THAT(shown("size"), HasSubstr("Choose a folder"));
  EXPECT_FALSE(start().isEnabled());
  EXPECT_EQ(shown("exportedLibrary"), "Old Library");
}

TEST_F(TakeHomeDialogTest, refusesFoldersThatOverlapTheLibrary) {
  program("", "");
  for (const char* wrong : {"/photos/Old Library", "/photos/Old Library/", "/photos/Old Library/Masters",
                            "/photos", "/photos/x/..", "relative"}) {
    part<QLineEdit>("target").setText(wrong);
    EXPECT_FALSE(start().isEnabled()) << wrong;
    EXPECT_NE(shown("size"), "Determining the size …") << wrong;
  }
  part<QLineEdit>("target").setText("/photos/Old Library 2");
  EXPECT_TRUE(start().isEnabled());
}

TEST_F(TakeHomeDialogTest, showsNoCountsOfAnExportThatFailedAtOnce) {
  program(planned("7000000"),
          R"(echo '{"complete":false,"failure":"why","counts":{"photos":0,"copied":0}}')");
  dialog->show();
  part<QLineEdit>("target").setText("/no/such/folder");
  awaitSize();
  start().click();
  EXPECT_EQ(awaitOther("result", {""}), "The photos could not be copied: why");
  EXPECT_EQ(shown("counts"), "");
  EXPECT_FALSE(part<QPushButton>("openFolder").isVisible());
}

TEST_F(TakeHomeDialogTest, showsLongTextsWhole) {
  std::string why;
  for (int i = 0; i < 60; ++i) why += "words ";
  program(R"(echo '{"complete":false,"failure":")" + why + R"(and more"}')", "");
  dialog->show();
  part<QLineEdit>("target").setText("/nas/photos");
  EXPECT_THAT(awaitSize(), HasSubstr(why));
  // A change of a text reaches the dialog after some rounds of events.
  for (int i = 0; i < 20; ++i) QCoreApplication::processEvents();
  for (const char* name : {"introduction", "size"}) {
    const auto& label = part<QLabel>(name);
    EXPECT_GE(label.height(), label.heightForWidth(label.width())) << name;
  }
}

TEST_F(TakeHomeDialogTest, showsSizeAndFreeSpace) {
  program(planned("7000000"), "");
  dialog->askForFolder = [](const QString&) { return QStringLiteral("/nas/photos"); };
  part<QPushButton>("chooseTarget").click();
  EXPECT_EQ(awaitSize(), "1,234 files, 5.6 MB; 7.0 MB are free there.");
  EXPECT_TRUE(start().isEnabled());
}

TEST_F(TakeHomeDialogTest, doesNotStartWithoutSpace) {
  program(planned("1000000"), "");
  part<QLineEdit>("target").setText("/nas/photos");
  EXPECT_EQ(awaitSize(), "1,234 files, 5.6 MB; only 1.0 MB are free there.");
  EXPECT_FALSE(start().isEnabled());
}

TEST_F(TakeHomeDialogTest, showsTheFreeSpaceForANewFolder) {
  program(R"(echo '{"progress":{"step":"planned","ofFiles":1,"ofBytes":1000000000000000000,"sidecars":0}}')",
          "");
  part<QLineEdit>("target").setText(QString::fromStdString((folder.path() / "new/folder").string()));
  EXPECT_THAT(awaitSize(), testing::ContainsRegex("^1 files, .*; only .* are free there\\.$"));
  EXPECT_FALSE(start().isEnabled());
}

TEST_F(TakeHomeDialogTest, saysWhyThereIsNoSize) {
  program(R"(echo '{"complete":false,"failure":"the disk is gone","findings":[]}')", "");
  part<QLineEdit>("target").setText("/nas/photos");
  EXPECT_EQ(awaitSize(), "The photos cannot be copied: the disk is gone");
  EXPECT_FALSE(start().isEnabled());
}

TEST_F(TakeHomeDialogTest, saysThatTheProgramIsMissing) {
  dialog = std::make_unique<TakeHomeDialog>("/photos/Old Library", "/no/such/program");
  part<QLineEdit>("target").setText("/nas/photos");
  EXPECT_THAT(awaitSize(), HasSubstr("The photos cannot be copied: "));
}

TEST_F(TakeHomeDialogTest, copiesWithTheChoices) {
  program(planned("7000000"), R"(echo '{"complete":true,"counts":{}}')");
  part<QLineEdit>("target").setText("/nas/photos");
  part<QLineEdit>("only").setText("Summer; --hidden ;;");
  part<QComboBox>("versions").setCurrentIndex(1);
  part<QComboBox>("layout").setCurrentIndex(1);
  part<QAbstractButton>("sidecars").setChecked(false);
  part<QAbstractButton>("hidden").setChecked(false);
  start().click();
  awaitOther("result", {""});
  EXPECT_THAT(arguments(), ElementsAre("--json", "--progress", "--layout", "dates", "--versions", "edited",
                                       "--sidecars", "none", "--hidden", "leave", "--only=Summer",
                                       "--only=--hidden", "--", "/photos/Old Library", "/nas/photos"));
}

TEST_F(TakeHomeDialogTest, showsProgressRateAndRemainingTime) {
  // It ends when its dialog does.
  program(planned("7000000"),
          R"(echo '{"progress":{"step":"copying","files":10,"ofFiles":40,"bytes":1000000,"ofBytes":4000000,)"
          R"("bytesPerSecond":2000000,"secondsLeft":200}}'; exec sleep 60)");
  part<QLineEdit>("target").setText("/nas/photos");
  start().click();
  EXPECT_EQ(awaitOther("step", {"Looking at the library …", ""}),
            "Copying: 10 of 40 files, 1.0 MB of 4.0 MB");
  EXPECT_EQ(shown("rate"), "2.0 MB per second, about 3 min left");
  EXPECT_EQ(part<QProgressBar>("bar").value(), 250);
}

TEST_F(TakeHomeDialogTest, cancelsAndSaysHowToContinue) {
  program(
      planned("7000000"),
      R"(trap 'kill $!; echo "{\"complete\":false,\"interrupted\":true,\"counts\":{\"copied\":3}}"; exit 130' TERM
echo '{"progress":{"step":"planning","photos":1}}'
sleep 60 & wait)");
  part<QLineEdit>("target").setText("/nas/photos");
  start().click();
  awaitOther("step", {"Looking at the library …", ""});
  part<QPushButton>("close").click();
  EXPECT_EQ(shown("step"), "Canceling …");
  EXPECT_FALSE(part<QPushButton>("close").isEnabled());
  EXPECT_THAT(awaitOther("result", {""}), HasSubstr("What was copied stays."));
  EXPECT_THAT(shown("counts"), HasSubstr("Files copied: 3"));
  EXPECT_TRUE(part<QPushButton>("openReport").isHidden());
}

TEST_F(TakeHomeDialogTest, showsTheReportAtTheEnd) {
  program(
      planned("7000000"),
      R"(echo '{"complete":false,"page":"/nas/photos/report.html","failure":"","counts":{"photos":50,"copied":40,)"
      R"("copiedBytes":4000000,"unchanged":6,"albums":7},"findings":[{"finding":"unreadable"}]}')");
  part<QLineEdit>("target").setText("/nas/photos");
  start().click();
  EXPECT_EQ(awaitOther("result", {""}), "Some photos are missing. The report says which, and why.");
  EXPECT_EQ(shown("counts"),
            "Photos and movies in the library: 50\nFiles copied: 40 (4.0 MB)\nFiles that were there already: "
            "6\nAlbums: 7");
  part<QPushButton>("openReport").click();
  part<QPushButton>("openFolder").click();
  EXPECT_THAT(opened, ElementsAre("file:///nas/photos/report.html", "file:///nas/photos"));
  EXPECT_EQ(part<QPushButton>("close").text(), "Close");
}

TEST_F(TakeHomeDialogTest, readsAReportWithManyFindings) {
  program(planned("7000000"),
          R"(printf '{"complete":true,"counts":{"copied":2},"findings":['
i=0; while [ $i -lt 20000 ]; do printf '{"finding":"renamed","file":"a\\n]}"},'; i=$((i+1)); done; echo ']}')");
  part<QLineEdit>("target").setText("/nas/photos");
  start().click();
  EXPECT_EQ(awaitOther("result", {""}), "Everything is there.");
  EXPECT_THAT(shown("counts"), HasSubstr("Files copied: 2"));
}

TEST_F(TakeHomeDialogTest, showsTheMessageOfAProgramThatFailed) {
  program(planned("7000000"), "echo 'no memory' >&2; exit 3");
  part<QLineEdit>("target").setText("/nas/photos");
  start().click();
  EXPECT_THAT(awaitOther("result", {""}), HasSubstr("could not be copied: no memory"));
}

}  // namespace
}  // namespace moxtel
