#include "app/windows/MainWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QStatusBar>
#include <QTreeWidget>
#include <QUrl>
#include <filesystem>
#include <fstream>
#include <set>

#include "app/windows/ColumnArea.h"
#include "app/windows/LibraryChooser.h"
#include "app/windows/MainMenu.h"
#include "console/window/ConsoleWindow.h"
#include "platform/system/Translations.h"
#include "support/Localization.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;

void speakGerman() { setTranslator(translationsFrom(MOXTEL_TRANSLATIONS, "de_AT")); }

ServerStatus servedStatus() {
  ServerStatus status;
  status.runningApplication = "iPhoto";
  status.libraryPath = "/photos/Old Library";
  status.counts = {1234, 5, 6, 7, {}, {}};
  status.addresses = {"192.168.1.4", "10.0.0.2"};
  status.port = 4250;
  status.publishedName = "photobox";
  return status;
}

WebStatus pageStatus() {
  WebStatus web;
  web.isOn = true;
  web.places = {"http://192.168.1.4:4251/"};
  web.keyAddress = "http://192.168.1.4:4251/in/abcdefghijkmnpqrstuv";
  web.digits = "012345";
  web.access = "key";
  return web;
}

class MainWindowTest : public testing::Test {
 protected:
  MainWindowTest() : window(actions()) {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    window.choice().showMessage = [this](const QString& title, const QString& text,
                                         const std::function<void()>& closed) {
      requested.push_back(title.toStdString() + "|" + text.toStdString());
      closed();
    };
    window.ask = [this](const Question& question, const std::function<void()>& then) {
      asked = question.text.toStdString();
      if (agrees) then();
    };
  }
  ~MainWindowTest() override { setTranslator({}); }

  MainWindowActions actions() {
    MainWindowActions actions;
    actions.chooseLibrary = [this](const std::string& folder) { requested.push_back("library " + folder); };
    actions.disconnectClient = [this] { requested.emplace_back("disconnect"); };
    actions.reload = [this] { requested.emplace_back("reload"); };
    actions.preferAperture = [this](bool on) { requested.emplace_back(on ? "aperture" : "iphoto"); };
    actions.revealPhoto = [this](bool on) { requested.emplace_back(on ? "reveal" : "no reveal"); };
    actions.showConsole = [this] { requested.emplace_back("console"); };
    actions.renewWebKey = [this] { requested.emplace_back("renew key"); };
    actions.setWebAccess = [this](const std::string& access) { requested.push_back("access " + access); };
    actions.quit = [this] { requested.emplace_back("quit"); };
    actions.onClose = [this] { return onClose; };
    actions.setOnClose = [this](OnClose choice) { onClose = choice; };
    return actions;
  }

  template <class Kind>
  Kind& part(const char* name) {
    Kind* found = window.findChild<Kind*>(name);
    if (!found) throw std::runtime_error(name);
    return *found;
  }
  std::string shown(const char* name) { return part<QLabel>(name).text().toStdString(); }

  std::vector<std::string> requested;
  std::string asked;   // the last question
  bool agrees = true;  // the answer to it
  OnClose onClose = OnClose::Ask;
  MainWindow window;
};

// A status with a handheld and a browser.
ServerStatus connectedStatus() {
  ServerStatus status = servedStatus();
  status.client = "ipad";
  status.clientSince = 1'400'000'000;
  status.web.devices = {{"192.168.1.7", "Family", 1'400'003'600}};
  return status;
}

TEST_F(MainWindowTest, showsTheLibraryAndTheNetworkState) {
  window.showStatus(servedStatus());
  EXPECT_EQ(shown("library"), "Old Library");
  EXPECT_EQ(shown("path"), "/photos/Old Library");
  EXPECT_EQ(shown("application"), "iPhoto");
  EXPECT_EQ(shown("photos"), "1,234");
  EXPECT_EQ(shown("albums"), "5");
  EXPECT_EQ(shown("events"), "6");
  EXPECT_EQ(shown("faces"), "7");
  EXPECT_EQ(shown("addresses"), "192.168.1.4, 10.0.0.2");
  EXPECT_EQ(shown("port"), "4250");
  EXPECT_EQ(shown("published"), "photobox");
  EXPECT_EQ(shown("client"), "No client is connected");
}

TEST_F(MainWindowTest, showsTheAddressOfThePageAndItsCode) {
  EXPECT_FALSE(part<QPushButton>("renewWebKey").isEnabled());
  ServerStatus status = servedStatus();
  status.web = pageStatus();
  window.showStatus(status);
  EXPECT_EQ(shown("pageAddress"), "http://192.168.1.4:4251/");
  EXPECT_EQ(shown("pageDigits"), "Six digits: 012345");
  EXPECT_GT(part<QLabel>("pageCode").pixmap().width(), 80);
  part<QPushButton>("copyAddress").click();
  EXPECT_EQ(QApplication::clipboard()->text(), "http://192.168.1.4:4251/");
}

TEST_F(MainWindowTest, asksBeforeItMakesANewKey) {
  ServerStatus status = servedStatus();
  status.web = pageStatus();
  window.showStatus(status);
  agrees = false;
  part<QPushButton>("renewWebKey").click();
  EXPECT_EQ(asked, "Make a new key? Every phone and computer that may look now then needs the new code.");
  EXPECT_TRUE(requested.empty());
  agrees = true;
  part<QPushButton>("renewWebKey").click();
  EXPECT_THAT(requested, ElementsAre("renew key"));
}

TEST_F(MainWindowTest, letsTheUserChooseWhoMayLook) {
  auto& access = part<QComboBox>("pageAccess");
  EXPECT_FALSE(access.isEnabled());
  ServerStatus status = servedStatus();
  status.web = pageStatus();
  status.web.access = "open";
  window.showStatus(status);
  EXPECT_TRUE(access.isEnabled());
  EXPECT_EQ(access.currentText(), "Everyone in the house");
  EXPECT_TRUE(requested.empty());
  for (const int entry : {0, 2}) {
    access.setCurrentIndex(entry);
    Q_EMIT access.activated(entry);
  }
  EXPECT_THAT(requested, ElementsAre("access key", "access off"));
}

TEST_F(MainWindowTest, showsWhoIsConnectedToWhatSinceWhen) {
  auto& list = part<QTreeWidget>("devices");
  window.showStatus(connectedStatus());
  ASSERT_EQ(list.topLevelItemCount(), 2);
  const auto row = [&](int number) {
    std::vector<std::string> texts;
    for (int i = 0; i < 3; ++i) texts.push_back(list.topLevelItem(number)->text(i).toStdString());
    return texts;
  };
  EXPECT_THAT(row(0), ElementsAre("ipad", "Moxtel", "Old Library"));
  EXPECT_THAT(row(1), ElementsAre("192.168.1.7", "Browser", "Family"));
  EXPECT_NE(list.topLevelItem(0)->text(3).indexOf("5/13/14"), -1)
      << list.topLevelItem(0)->text(3).toStdString();
  window.showStatus(servedStatus());
  EXPECT_EQ(list.topLevelItemCount(), 0);
}

TEST_F(MainWindowTest, saysWhomAReloadDisconnects) {
  window.showStatus(connectedStatus());
  agrees = false;
  part<QPushButton>("reload").click();
  EXPECT_EQ(asked, "Read the library again? This disconnects ipad.");
  EXPECT_TRUE(requested.empty());
  agrees = true;
  part<QPushButton>("reload").click();
  EXPECT_THAT(requested, ElementsAre("reload"));
}

TEST_F(MainWindowTest, showsOneSentenceAndOneButtonWithoutALibrary) {
  window.show();
  window.showStatus({});
  EXPECT_TRUE(part<QLabel>("startSentence").isVisible());
  EXPECT_FALSE(part<QLabel>("path").isVisible());
  EXPECT_FALSE(part<QListWidget>("foundLibraries").isVisible());
  window.choice().askForFolder = [](const QString&) { return QStringLiteral("/photos/New"); };
  part<QPushButton>("startChoose").click();
  EXPECT_THAT(requested, ElementsAre("library /photos/New"));
  window.showStatus(servedStatus());
  EXPECT_FALSE(part<QLabel>("startSentence").isVisible());
  EXPECT_TRUE(part<QLabel>("path").isVisible());
}

TEST_F(MainWindowTest, offersTheLibrariesOfThisComputer) {
  window.show();
  window.showStatus({});
  window.showFound({}, true);
  EXPECT_EQ(shown("foundTitle"), "Looking for libraries on this computer …");
  window.showFound({{"/disk/Family.photolibrary", "Family", 12345, 2004, 2012, {}},
                    {"/disk/b\xC3\xBC\xFF", "b", 1, 2009, 2009, {}},
                    {"/disk/Broken", "Broken", {}, {}, {}, {}}},
                   false);
  auto& list = part<QListWidget>("foundLibraries");
  ASSERT_EQ(list.count(), 3);
  EXPECT_EQ(list.item(0)->text(), "Family\n12,345 photos, 2004–2012\n/disk/Family.photolibrary");
  EXPECT_EQ(list.item(2)->text(), "Broken\ncannot be read\n/disk/Broken");
  EXPECT_TRUE(list.item(1)->text().contains("1 photo, 2009"));
  EXPECT_EQ(list.currentRow(), 0);
  list.setCurrentRow(1);
  part<QPushButton>("serveFound").click();
  EXPECT_THAT(requested, ElementsAre("library /disk/b\xC3\xBC\xFF"));
}

TEST_F(MainWindowTest, showsRecentLibrariesInTheMenu) {
  auto& recent = part<QMenu>("recentLibraries");
  EXPECT_FALSE(recent.isEnabled());
  window.menu().showRecent({"/photos/A & B", "/photos/Old"});
  ASSERT_EQ(recent.actions().size(), 2);
  EXPECT_EQ(recent.actions().front()->text(), "/photos/A && B");
  recent.actions().front()->trigger();
  EXPECT_THAT(requested, ElementsAre("library /photos/A & B"));
}

TEST_F(MainWindowTest, takesAFolderThatIsDropped) {
  QMimeData folder;
  folder.setUrls(
      {QUrl::fromLocalFile("/disk/B\xC3\xBC"
                           "cher/Database/apdb/Library.apdb")});
  QMimeData text;
  text.setText("/disk");
  QMimeData page;
  page.setUrls({QUrl("http://192.168.1.4/")});
  EXPECT_TRUE(window.acceptDrops());
  EXPECT_FALSE(window.choice().takeDropped(text));
  EXPECT_FALSE(window.choice().takeDropped(page));
  QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &folder, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(&window, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &folder, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(&window, &drop);
  // The only library that was found for it is served without a question.
  window.choice().refuse("why", {{"/disk/Bücher", 60, {}}});
  EXPECT_THAT(requested,
              ElementsAre("library /disk/Bücher/Database/apdb/Library.apdb", "library /disk/Bücher"));
}

TEST_F(MainWindowTest, opensTheDialogAgainAfterAWrongChoice) {
  std::vector<QString> answers{"/wrong", ""};
  std::vector<std::string> begins;
  window.choice().askForFolder = [&](const QString& begin) {
    begins.push_back(begin.toStdString());
    return answers[begins.size() - 1];
  };
  part<QPushButton>("chooseLibrary").click();
  window.choice().refuse("There is no such folder.", {});
  EXPECT_THAT(begins, ElementsAre("", "/wrong"));
  EXPECT_THAT(requested, ElementsAre("library /wrong", "Cannot serve this folder|There is no such folder."));
}

TEST_F(MainWindowTest, opensTheDialogAgainForAUserWhoMeantAnotherLibrary) {
  std::vector<std::string> begins;
  window.choice().askForFolder = [&](const QString& begin) {
    begins.push_back(begin.toStdString());
    return begins.size() == 1 ? QStringLiteral("/disk") : QStringLiteral("/disk/right");
  };
  part<QPushButton>("chooseLibrary").click();
  window.choice().refuse("why", {{"/disk/other", 60, {}}});
  for (QPushButton* button : window.findChildren<QPushButton*>()) {
    if (button->text() == "Choose &Another…") button->click();
  }
  EXPECT_THAT(begins, ElementsAre("", "/disk"));
  EXPECT_THAT(requested, ElementsAre("library /disk", "library /disk/right"));
}

TEST_F(MainWindowTest, endsTheProgramWhenItIsClosedWithoutADevice) {
  window.show();
  window.showStatus(servedStatus());
  window.close();
  EXPECT_THAT(requested, ElementsAre("quit"));
}

TEST_F(MainWindowTest, asksWhenItIsClosedWhileADeviceIsConnected) {
  window.show();
  window.showStatus(connectedStatus());
  TakeClosing take;
  window.askClosing = [&](const QString& devices, TakeClosing taken) {
    asked = devices.toStdString();
    take = std::move(taken);
  };
  window.close();
  EXPECT_EQ(asked, "ipad, 192.168.1.7");
  EXPECT_TRUE(window.isVisible());
  take(OnClose::Background, false);
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(onClose, OnClose::Ask);
  window.bringToFront();
  EXPECT_TRUE(window.isVisible());
  window.close();
  take(OnClose::Background, true);
  EXPECT_EQ(onClose, OnClose::Background);
  EXPECT_TRUE(requested.empty());
}

TEST_F(MainWindowTest, keepsTheChoiceOfWhatClosingDoes) {
  window.askClosing = [&](const QString&, const TakeClosing&) { asked = "asked"; };
  window.showStatus(connectedStatus());
  window.show();
  onClose = OnClose::Background;
  window.close();
  EXPECT_FALSE(window.isVisible());
  EXPECT_TRUE(requested.empty());
  window.show();
  onClose = OnClose::Quit;
  window.close();
  EXPECT_THAT(requested, ElementsAre("quit"));
  EXPECT_EQ(asked, "");
}

TEST_F(MainWindowTest, quitsWithoutAskingWhileADeviceIsConnected) {
  window.askClosing = [&](const QString&, const TakeClosing&) { asked = "asked"; };
  window.showStatus(connectedStatus());
  for (QAction* action : window.menu().fileMenu().actions()) {
    if (action->text() == "Quit") action->trigger();
  }
  EXPECT_THAT(requested, ElementsAre("quit"));
  EXPECT_EQ(asked, "");
}

TEST_F(MainWindowTest, showsOnlyOptionsThatDoSomething) {
  window.show();
  window.showStatus(servedStatus());
  EXPECT_FALSE(part<QCheckBox>("preferAperture").isVisible());
  EXPECT_FALSE(part<QCheckBox>("revealPhoto").isVisible());
  ServerStatus status = servedStatus();
  status.canPreferAperture = true;
  status.canRevealPhoto = true;
  window.showStatus(status);
  EXPECT_TRUE(part<QCheckBox>("preferAperture").isVisible());
  EXPECT_TRUE(part<QCheckBox>("revealPhoto").isVisible());
}

TEST_F(MainWindowTest, showsWhyThereIsNoPage) {
  ServerStatus status = servedStatus();
  status.web.isOn = true;
  status.web.problem = "Address already in use";
  window.showStatus(status);
  EXPECT_EQ(shown("pageAddress"), "Not listening: Address already in use");
  EXPECT_TRUE(part<QLabel>("pageCode").pixmap().isNull());
}

TEST_F(MainWindowTest, showsEllipsesUntilTheServerHasStarted) {
  for (const char* row : {"library", "path", "photos", "faces", "port", "client"}) EXPECT_EQ(shown(row), "…");
  QString begin = "not asked";
  window.choice().askForFolder = [&](const QString& from) { return begin = from, QString(); };
  part<QPushButton>("chooseLibrary").click();
  EXPECT_EQ(begin, "");
}

TEST_F(MainWindowTest, needsNoScrollingSidewaysOnASmallScreen) {
  for (const bool german : {false, true}) {
    if (german) speakGerman();
    MainWindow other(actions());
    auto& area = *other.findChild<ColumnArea*>();
    ServerStatus status = servedStatus();
    status.web = {};
    status.web.isOn = true;
    status.web.places = {"http://192.168.100.200:4251/"};
    status.web.keyAddress = "http://192.168.100.200:4251/in/abcdefghijkmnpqrstuv";
    status.web.digits = "012345";
    other.showStatus(status);
    other.resize(624, 344);  // 1280 × 800 at 200 %
    other.show();
    QCoreApplication::processEvents();
    EXPECT_EQ(area.columns(), 1);
    EXPECT_EQ(area.horizontalScrollBar()->maximum(), 0) << german;
    other.resize(1008, 544);
    QCoreApplication::processEvents();
    EXPECT_EQ(area.columns(), 2);
    EXPECT_EQ(area.horizontalScrollBar()->maximum(), 0) << german;
  }
}

TEST_F(MainWindowTest, needsNoScrollBarAtItsUsualSize) {
  window.showStatus(servedStatus());
  window.resize(980, 620);
  window.show();
  QCoreApplication::processEvents();
  const auto& area = *window.findChild<ColumnArea*>();
  EXPECT_EQ(area.columns(), 2);
  EXPECT_EQ(area.verticalScrollBar()->maximum(), 0);
}

// A person types it into a phone.
TEST_F(MainWindowTest, showsTheWholeAddressOfThePageInOneLine) {
  ServerStatus status = servedStatus();
  status.web.isOn = true;
  status.web.places = {"http://192.168.178.123:14251/"};
  status.web.keyAddress = "http://192.168.178.123:14251/in/abcdefghijklmnopqrstuv";
  status.web.digits = "123456";
  status.web.access = "key";
  const QFont usual = QApplication::font();
  for (const int points : {8, 11, 14, 18}) {
    QFont letters = usual;
    letters.setPointSize(points);
    QApplication::setFont(letters);
    MainWindow sized({});
    sized.showStatus(status);
    for (const QSize size : {QSize(980, 620), QSize(624, 344)}) {
      sized.resize(size);
      sized.show();
      QApplication::processEvents();
      const auto& address = *sized.findChild<QLabel*>("pageAddress");
      EXPECT_EQ(address.text(), "http://192.168.178.123:14251/");
      EXPECT_GT(address.font().pointSize(), points);
      EXPECT_GE(address.width(), address.fontMetrics().horizontalAdvance(address.text())) << points;
      EXPECT_FALSE(address.wordWrap());
    }
  }
  QApplication::setFont(usual);
}

TEST_F(MainWindowTest, fitsOnTheScreen) {
  EXPECT_EQ(window.size(), window.size().boundedTo(window.screen()->availableSize()));
}

TEST_F(MainWindowTest, showsProblemsOfLibraryAndNetwork) {
  ServerStatus status;
  status.runningApplication = "<none>";
  status.listenFailure = "address in use";
  status.publicationProblem = "no network";
  window.showStatus(status);
  EXPECT_EQ(shown("library"), "No library yet. Choose its folder.");
  EXPECT_EQ(shown("application"), "none");
  EXPECT_EQ(shown("photos"), "–");
  EXPECT_EQ(shown("port"), "Not listening: address in use");
  EXPECT_EQ(shown("published"), "Not visible: no network");
  status.libraryPath = "/gone";
  status.libraryProblem = "There is no such folder.";
  status.publicationProblem = "";
  window.showStatus(status);
  EXPECT_EQ(shown("library"), "This library is not there. Connect its disk, or choose another library.");
  EXPECT_EQ(shown("published"), "Not visible");
}

TEST_F(MainWindowTest, showsWhatIsWrongWithADatabase) {
  using Kind = DatabaseProblem::Kind;
  ServerStatus status = servedStatus();
  status.libraryPath = "/photos/Family";
  status.databaseName = "Faces.db";
  const auto text = [&](Kind kind, const char* detail = "") {
    status.databaseProblem = {kind, detail};
    window.showStatus(status);
    return shown("library");
  };
  EXPECT_EQ(text(Kind::None), "Family");
  EXPECT_EQ(text(Kind::Missing), "Family\nThe file Faces.db is missing.");
  EXPECT_EQ(text(Kind::NotPermitted), "Family\nThis user is not permitted to read the file Faces.db.");
  EXPECT_EQ(text(Kind::Damaged), "Family\nThe file Faces.db is damaged.");
  EXPECT_EQ(text(Kind::WithoutTables), "Family\nThe file Faces.db has no tables of a photo library.");
  EXPECT_EQ(text(Kind::Incomplete, "table %1"),
            "Family\nThe file Faces.db lacks what the server reads: table %1.");
  EXPECT_EQ(text(Kind::NotServed, "Photos 1"), "Family\nLibraries of Photos 1 are not served.");
}

TEST_F(MainWindowTest, namesTheKindOfALibraryOfPhotos) {
  ServerStatus status = servedStatus();
  status.libraryPath = "/photos/Family";
  status.counts.name = "Photos 5 library";
  status.counts.photos = 311;
  window.showStatus(status);
  EXPECT_EQ(shown("library"), "Family\nPhotos 5 library");
  EXPECT_EQ(shown("photos"), "311");
  status.counts.onlyInCloud = 14;
  window.showStatus(status);
  EXPECT_EQ(shown("photos"), "311, 14 only in the cloud");
}

TEST_F(MainWindowTest, enablesDisconnectOnlyWhileAClientIsConnected) {
  ServerStatus status = servedStatus();
  window.showStatus(status);
  EXPECT_FALSE(part<QPushButton>("disconnect").isEnabled());
  status.client = "ipad";
  window.showStatus(status);
  EXPECT_EQ(shown("client"), "Connected: ipad");
  part<QPushButton>("disconnect").click();
  EXPECT_THAT(requested, ElementsAre("disconnect"));
  status.client.reset();
  window.showStatus(status);
  EXPECT_FALSE(part<QPushButton>("disconnect").isEnabled());
}

TEST_F(MainWindowTest, showsClientNamesAsPlainText) {
  ServerStatus status = servedStatus();
  status.client = "<b>%1 & co</b>";
  window.showStatus(status);
  EXPECT_EQ(shown("client"), "Connected: <b>%1 & co</b>");
  EXPECT_EQ(part<QLabel>("client").textFormat(), Qt::PlainText);
}

TEST_F(MainWindowTest, passesTheChosenFolderOn) {
  window.showStatus(servedStatus());
  QString begin;
  window.choice().askForFolder = [&](const QString& from) {
    begin = from;
    return QStringLiteral("/photos/Bücher");
  };
  part<QPushButton>("chooseLibrary").click();
  EXPECT_EQ(begin, "/photos/Old Library");
  EXPECT_THAT(requested, ElementsAre("library /photos/Bücher"));
}

TEST_F(MainWindowTest, doesNothingWhenTheFolderDialogIsCanceled) {
  window.choice().askForFolder = [](const QString&) { return QString(); };
  part<QPushButton>("chooseLibrary").click();
  EXPECT_TRUE(requested.empty());
}

TEST_F(MainWindowTest, saysWhyAFolderCannotBeServed) {
  const TemporaryFolder folder;
  window.choice().refuse(whyNoLibrary(folder.path().string()), {});
  EXPECT_THAT(requested,
              ElementsAre("Cannot serve this folder|This folder is not a photo library. Choose the "
                          "folder named like \"iPhoto Library\", not the disk or a folder inside it."));
}

TEST_F(MainWindowTest, saysWhatHelpsWithAFolderThatCannotBeServed) {
  window.choice().refuse("This user is not permitted to read the folder.", {}, " Its owner is a Mac's user.");
  EXPECT_THAT(requested,
              ElementsAre("Cannot serve this folder|This user is not permitted to read the folder. "
                          "Its owner is a Mac's user."));
}

TEST_F(MainWindowTest, offersTheLibrariesThatWereFound) {
  window.choice().refuse("why", {{"/disk/Old Library", 60, Date{397000000}},
                                 {"/disk/Family", 12345, Date{490007103}},
                                 {"/disk/b\xC3\xBC\xFF", {}, {}}});
  auto& list = part<QTreeWidget>("libraries");
  ASSERT_EQ(list.topLevelItemCount(), 3);
  const auto row = [&](int number) {
    std::vector<std::string> texts;
    for (int i = 0; i < 4; ++i) texts.push_back(list.topLevelItem(number)->text(i).toStdString());
    return texts;
  };
  EXPECT_THAT(row(0), ElementsAre("Old Library", "60", testing::_, "/disk"));
  EXPECT_THAT(row(1), ElementsAre("Family", "12,345", "7/12/16", "/disk"));
  EXPECT_THAT(row(2), ElementsAre(testing::_, "–", "–", "/disk"));
  auto& chooser = part<LibraryChooser>("");
  EXPECT_EQ(chooser.chosenPath(), "/disk/Family");
  list.setCurrentItem(list.topLevelItem(2));
  chooser.accept();
  EXPECT_THAT(requested, ElementsAre("library /disk/b\xC3\xBC\xFF"));
}

TEST_F(MainWindowTest, servesNoLibraryWhenTheOfferIsCanceled) {
  window.choice().refuse("why", {{"/disk/Family", 12345, Date{1e300}}});
  part<LibraryChooser>("").reject();
  EXPECT_TRUE(requested.empty());
}

TEST_F(MainWindowTest, buttonsRunTheirActions) {
  part<QPushButton>("console").click();
  part<QPushButton>("reload").click();
  EXPECT_THAT(requested, ElementsAre("console", "reload"));
}

TEST_F(MainWindowTest, checkBoxesRunActionsForClicksButNotForServerStates) {
  ServerStatus status = servedStatus();
  status.preferAperture = true;
  status.revealPhoto = false;
  window.showStatus(status);
  EXPECT_TRUE(part<QCheckBox>("preferAperture").isChecked());
  EXPECT_FALSE(part<QCheckBox>("revealPhoto").isChecked());
  EXPECT_TRUE(requested.empty());
  part<QCheckBox>("preferAperture").click();
  part<QCheckBox>("revealPhoto").click();
  EXPECT_THAT(requested, ElementsAre("iphoto", "reveal"));
}

TEST_F(MainWindowTest, showsTheLastFiveLines) {
  std::vector<ConsoleLine> lines;
  for (int i = 0; i < 20; ++i) lines.push_back({"date", "Info", "line " + std::to_string(i)});
  window.showLines(lines);
  window.showLines({{"date", "Error", "<b>bad</b>"}});
  EXPECT_EQ(part<QPlainTextEdit>("lastLines").toPlainText(),
            "Info:  line 16\nInfo:  line 17\nInfo:  line 18\nInfo:  line 19\nError:  <b>bad</b>");
}

TEST_F(MainWindowTest, showsWhetherTheServerIsBusy) {
  EXPECT_EQ(shown("busy"), "Ready");
  window.showBusy(true);
  EXPECT_EQ(shown("busy"), "Busy …");
  window.showBusy(false);
  EXPECT_EQ(shown("busy"), "Ready");
}

TEST_F(MainWindowTest, givesEveryButtonTabFocusAndAShortcut) {
  for (const QPushButton* button : window.findChildren<QPushButton*>()) {
    EXPECT_NE(button->focusPolicy() & Qt::TabFocus, 0) << button->text().toStdString();
    EXPECT_FALSE(button->shortcut().isEmpty()) << button->text().toStdString();
  }
  for (const QCheckBox* box : window.findChildren<QCheckBox*>()) {
    EXPECT_FALSE(box->shortcut().isEmpty()) << box->text().toStdString();
  }
}

// Access keys must be unique in every language.
void expectDistinctAccessKeys(const QWidget& window) {
  std::set<std::string> seen;
  for (const QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
    if (button->shortcut().isEmpty()) continue;
    EXPECT_TRUE(seen.insert(button->shortcut().toString().toStdString()).second)
        << button->text().toStdString();
  }
}

TEST_F(MainWindowTest, givesEveryButtonAUniqueAccessKey) {
  expectDistinctAccessKeys(window);
  speakGerman();
  const MainWindow german(actions());
  expectDistinctAccessKeys(german);
}

TEST_F(MainWindowTest, accessibleNamesContainTheRowsNameAndValue) {
  window.showStatus(servedStatus());
  EXPECT_EQ(part<QLabel>("photos").accessibleName(), "Photos: 1,234");
  EXPECT_EQ(part<QLabel>("client").accessibleName(), "Client: No client is connected");
}

TEST_F(MainWindowTest, keepsItsWidthWithALongPath) {
  window.resize(window.minimumSizeHint());
  window.show();
  const int before = window.minimumSizeHint().width();
  ServerStatus status = servedStatus();
  status.libraryPath = "/" + std::string(3000, 'x');
  window.showStatus(status);
  QCoreApplication::processEvents();
  EXPECT_EQ(window.minimumSizeHint().width(), before);
}

// All texts that a window shows.
std::set<std::string> textsOf(const QWidget& window) {
  std::set<std::string> texts;
  const auto add = [&](const QString& text) {
    if (!text.isEmpty()) texts.insert(text.toStdString());
  };
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    for (const char* name : {"text", "title", "toolTip", "placeholderText", "accessibleName"}) {
      add(widget->property(name).toString());
    }
  }
  add(window.windowTitle());
  return texts;
}

// All texts of the windows, collected in every state that changes a text.
std::set<std::string> allTexts() {
  MainWindow window({});
  std::set<std::string> texts;
  const auto collect = [&](const QWidget& of) { texts.merge(textsOf(of)); };
  window.choice().showMessage = [&](const QString& title, const QString& text, const std::function<void()>&) {
    texts.insert(title.toStdString());
    texts.insert(text.toStdString());
  };
  ServerStatus status;
  for (int state = 0; state < 4; ++state) {
    status.runningApplication = "<none>";
    if (state > 0) status.libraryPath = "/";
    status.libraryProblem = state > 1 ? "" : whyUnreadable("/no/such/folder");
    status.port = state > 1 ? 1 : 0;
    status.publicationProblem = state == 1 ? "!" : "";
    status.client = state > 1 ? std::optional<std::string>("!") : std::nullopt;
    window.showStatus(status);
    window.showBusy(state > 1);
    collect(window);
  }
  using Kind = DatabaseProblem::Kind;
  for (const Kind kind : {Kind::Missing, Kind::NotPermitted, Kind::Damaged, Kind::WithoutTables,
                          Kind::Incomplete, Kind::NotServed}) {
    status.databaseProblem.kind = kind;
    window.showStatus(status);
    collect(window);
  }
  status.databaseProblem = {};
  for (const char* kind : {"Photos library", "Photos 2 library", "Photos 3 library", "Photos 4 library",
                           "Photos 5 library", "Photos 6+ library", "iPhoto library (AlbumData.xml only)"}) {
    status.counts.name = kind;
    status.counts.onlyInCloud = 14;
    window.showStatus(status);
    collect(window);
  }
  const TemporaryFolder folder;
  for (const std::string& bad :
       {std::string("relative"), std::string("/é"), folder.path().string() + "/no", folder.path().string()}) {
    window.choice().refuse(whyNoLibrary(bad), {});
  }
  for (const char* old : {"/Aperture/Aperture.aplib/Library.apdb", "/Copy/Database/apdb/Faces.db"}) {
    const std::filesystem::path file = folder.path().string() + old;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream{file} << "x";
  }
  for (const char* old : {"Aperture", "Copy"}) {
    window.choice().refuse(whyNoLibrary((folder.path() / old).string()), {});
  }
  const FoundLibrary library{"/1", {}, {}};
  collect(LibraryChooser(std::vector{library}));
  collect(LibraryChooser(std::vector{library, library}));
  collect(ConsoleWindow());
  return texts;
}

TEST_F(MainWindowTest, hasAGermanTextForEveryEnglishOne) {
  // Texts that are the same in both languages, are not words, or that Qt translates.
  const std::set<std::string> same{
      "MoxtelServer", "Port", "Port:", "Client", "Client:", "–", "…", "/", "1", "!", "Name", "Cancel"};
  std::set<std::string> english = allTexts();
  speakGerman();
  const std::set<std::string> german = allTexts();
  EXPECT_EQ(english.size(), german.size());
  for (const std::string& text : german) {
    if (same.contains(text) || text.starts_with("Port: ")) continue;
    EXPECT_FALSE(english.contains(text)) << "not translated: " << text;
  }
}

TEST_F(MainWindowTest, saysInGermanWhyItIsNotVisible) {
  speakGerman();
  ServerStatus status = servedStatus();
  status.publishedName.clear();
  for (const char* problem :
       {"no Avahi daemon runs; start the Avahi daemon",
        "nothing here publishes services; start the Avahi daemon",
        "another responder claims the name or the address of this machine; restart the Avahi daemon, or give "
        "the machine another host name",
        "other devices claim this name and those that follow it; give the machine another host name",
        "the Avahi daemon does not answer; restart it",
        "the built-in responder does not answer; restart it"}) {
    status.publicationProblem = problem;
    window.showStatus(status);
    const std::string shown = part<QLabel>("published").text().toStdString();
    EXPECT_TRUE(shown.starts_with("Nicht sichtbar: ")) << shown;
    EXPECT_EQ(shown.find(problem), std::string::npos) << "not translated: " << problem;
  }
}

}  // namespace
}  // namespace moxtel
