#include "console/window/ConsoleWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTextBlock>
#include <thread>

#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

ConsoleLine line(const std::string& title, const std::string& text) {
  return {"2026-01-02 03:04:05.678", title, text};
}

void deliver() { QCoreApplication::sendPostedEvents(nullptr, 0); }

class ConsoleWindowTest : public testing::Test {
 protected:
  ConsoleWindowTest() { window.resize(600, 300); }

  void show(const std::string& title, const std::string& text) {
    window.view().appendLine(line(title, text));
    deliver();
  }
  void showMany(int count) {
    for (int i = 0; i < count; ++i) window.view().appendLine(line("Info", "line " + std::to_string(i)));
    deliver();
  }
  QString text() { return window.textView().toPlainText(); }
  QScrollBar& bar() { return *window.textView().verticalScrollBar(); }

  // The character format where a text first occurs.
  QTextCharFormat formatOf(const QString& wanted) {
    const QTextCursor found = window.textView().document()->find(wanted);
    EXPECT_FALSE(found.isNull()) << wanted.toStdString();
    return found.charFormat();
  }

  ConsoleWindow window;
};

TEST_F(ConsoleWindowTest, showsDateTitleAndText) {
  show("Info", "Running app: <none>");
  EXPECT_EQ(text(), "2026-01-02 03:04:05.678  Info:  Running app: <none>\n");
}

TEST_F(ConsoleWindowTest, beginsWithTheConsolesBanner) {
  FakeEventLoop loop;
  UserDefaults defaults;
  MXSConsole console(loop, defaults);
  console.addView(window.view());
  deliver();
  EXPECT_EQ(window.textView().document()->findBlockByNumber(0).text().mid(25),
            "Info:  MoxtelServer 1.4 (402) started");
  EXPECT_EQ(window.textView().document()->findBlockByNumber(1).text().mid(25), "Info:  " + QString(51, '-'));
  EXPECT_FALSE(window.isVisible());
  console.removeView(window.view());
}

TEST_F(ConsoleWindowTest, showsOnlyTheTitleInBold) {
  show("Info", "the text");
  EXPECT_TRUE(formatOf("Info:").font().bold());
  EXPECT_FALSE(formatOf("2026").font().bold());
  EXPECT_FALSE(formatOf("the text").font().bold());
  EXPECT_EQ(formatOf("the text").font().pointSize(), 12);
}

TEST_F(ConsoleWindowTest, showsOnlyTheTitleErrorInRed) {
  show("Error", "bad thing");
  show("error", "small thing");
  show("Info", "no thing");
  EXPECT_EQ(formatOf("Error:").foreground().color(), window.errorColor());
  EXPECT_FALSE(formatOf("bad thing").hasProperty(QTextFormat::ForegroundBrush));
  EXPECT_FALSE(window.textView()
                   .document()
                   ->find("error:", 0, QTextDocument::FindCaseSensitively)
                   .charFormat()
                   .hasProperty(QTextFormat::ForegroundBrush));
  EXPECT_FALSE(formatOf("Info:").hasProperty(QTextFormat::ForegroundBrush));
}

double luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

// The contrast ratio of the Web Content Accessibility Guidelines, 1 to 21.
double contrast(const QColor& one, const QColor& other) {
  const double a = luminance(one);
  const double b = luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

TEST_F(ConsoleWindowTest, keepsErrorsReadableWhenThePaletteTurnsDark) {
  show("Error", "bad thing");
  show("Info", "no thing");
  const QPalette before = QApplication::palette();
  QPalette dark = before;
  dark.setColor(QPalette::Base, QColor(30, 30, 30));
  dark.setColor(QPalette::Text, Qt::white);
  QApplication::setPalette(dark);
  QCoreApplication::processEvents();
  const QColor shown = formatOf("Error:").foreground().color();
  EXPECT_GE(contrast(shown, QColor(30, 30, 30)), 4.5);
  EXPECT_TRUE(formatOf("Error:").font().bold());
  EXPECT_FALSE(formatOf("Info:").hasProperty(QTextFormat::ForegroundBrush));
  QApplication::setPalette(before);
  QCoreApplication::processEvents();
  EXPECT_EQ(formatOf("Error:").foreground().color(), QColor(Qt::red));
}

TEST_F(ConsoleWindowTest, becomesVisibleOnlyWhenRaised) {
  show("Error", "a line does not raise");
  EXPECT_FALSE(window.isVisible());
  window.view().raise();
  deliver();
  EXPECT_TRUE(window.isVisible());
}

TEST_F(ConsoleWindowTest, isRaisedOnlyByTheTitleError) {
  FakeEventLoop loop;
  UserDefaults defaults;
  MXSConsole console(loop, defaults);
  console.addView(window.view());
  console.showTitle("Info", "one");
  console.showTitle("error", "two");
  deliver();
  EXPECT_FALSE(window.isVisible());
  console.showTitle("Error", "three");
  deliver();
  EXPECT_TRUE(window.isVisible());
  console.removeView(window.view());
}

TEST_F(ConsoleWindowTest, isRaisedWhenMinimized) {
  window.showMinimized();
  window.raiseWindow();
  EXPECT_FALSE(window.isMinimized());
}

TEST_F(ConsoleWindowTest, doesNotKeepTheProgramRunning) {
  EXPECT_FALSE(window.testAttribute(Qt::WA_QuitOnClose));
}

TEST_F(ConsoleWindowTest, showsAllOf50000Lines) {
  showMany(50000);
  EXPECT_EQ(window.textView().document()->blockCount(), 50001);
  EXPECT_TRUE(text().startsWith("2026-01-02 03:04:05.678  Info:  line 0\n"));
  EXPECT_TRUE(text().endsWith("Info:  line 49999\n"));
}

TEST_F(ConsoleWindowTest, keepsThe50000NewestLines) {
  showMany(60000);
  show("Info", "one more");
  EXPECT_EQ(window.textView().document()->blockCount(), 50001);
  EXPECT_TRUE(text().startsWith("2026-01-02 03:04:05.678  Info:  line 10001\n"));
  EXPECT_TRUE(text().endsWith("Info:  line 59999\n2026-01-02 03:04:05.678  Info:  one more\n"));
}

TEST_F(ConsoleWindowTest, showsQueuedLinesInOneBatch) {
  int batches = 0;
  std::size_t lines = 0;
  window.setLinesObserver([&](const auto& some) {
    ++batches;
    lines += some.size();
  });
  showMany(5000);
  EXPECT_EQ(batches, 1);
  EXPECT_EQ(lines, 5000u);
}

TEST_F(ConsoleWindowTest, scrollsWithNewLinesWhileAtTheEnd) {
  window.show();
  showMany(200);
  EXPECT_EQ(bar().value(), bar().maximum());
  const int before = bar().maximum();
  show("Info", "one more");
  EXPECT_GT(bar().maximum(), before);
  EXPECT_EQ(bar().value(), bar().maximum());
}

TEST_F(ConsoleWindowTest, keepsTheScrollPositionAwayFromTheEnd) {
  window.show();
  showMany(200);
  bar().setValue(20);
  showMany(200);
  EXPECT_EQ(bar().value(), 20);
  bar().setValue(bar().maximum());
  show("Info", "one more");
  EXPECT_EQ(bar().value(), bar().maximum());
}

TEST_F(ConsoleWindowTest, keepsTheSelectionWhenLinesAreAdded) {
  window.show();
  show("Info", "one");
  window.textView().selectAll();
  const QString selected = window.textView().textCursor().selectedText();
  show("Info", "two");
  EXPECT_EQ(window.textView().textCursor().selectedText(), selected);
}

TEST_F(ConsoleWindowTest, selectsNothingUnlessTheUserDoes) {
  showMany(3);
  EXPECT_FALSE(window.textView().textCursor().hasSelection()) << "lines before it is shown";
  window.view().raise();
  deliver();
  QCoreApplication::processEvents();
  EXPECT_FALSE(window.textView().textCursor().hasSelection()) << "raised";
  showMany(3);
  EXPECT_FALSE(window.textView().textCursor().hasSelection()) << "lines after";
}

TEST_F(ConsoleWindowTest, copiesTheSelection) {
  show("Error", "bad thing");
  window.textView().selectAll();
  window.textView().copy();
  EXPECT_EQ(QApplication::clipboard()->text(), "2026-01-02 03:04:05.678  Error:  bad thing\n");
}

TEST_F(ConsoleWindowTest, isReadOnlyAndSelectableByKeyboard) {
  EXPECT_TRUE(window.textView().isReadOnly());
  EXPECT_TRUE(window.textView().textInteractionFlags() & Qt::TextSelectableByKeyboard);
}

TEST_F(ConsoleWindowTest, findsForwardsBackwardsAndWrapsAround) {
  show("Info", "apple");
  show("Info", "pear");
  show("Info", "Apple pie");
  window.textView().moveCursor(QTextCursor::Start);
  window.searchField().setText("apple");
  const auto found = [this] { return window.textView().textCursor().selectedText(); };
  EXPECT_TRUE(window.findNext());
  EXPECT_EQ(found(), "apple");
  EXPECT_TRUE(window.findNext());
  EXPECT_EQ(found(), "Apple");
  EXPECT_TRUE(window.findNext());
  EXPECT_EQ(found(), "apple");
  EXPECT_TRUE(window.findNext(true));
  EXPECT_EQ(found(), "Apple");
}

TEST_F(ConsoleWindowTest, keepsTheSelectionWhenNothingIsFound) {
  show("Info", "apple");
  window.searchField().setText("apple");
  ASSERT_TRUE(window.findNext());
  const int at = window.textView().textCursor().position();
  window.searchField().setText("plum");
  EXPECT_FALSE(window.findNext());
  EXPECT_EQ(window.textView().textCursor().position(), at);
  window.searchField().clear();
  EXPECT_FALSE(window.findNext());
}

TEST_F(ConsoleWindowTest, showsLinesOfAnotherThreadInOrder) {
  std::thread core([this] {
    for (int i = 0; i < 1000; ++i) window.view().appendLine(line("Info", "line " + std::to_string(i)));
  });
  core.join();
  deliver();
  const QTextDocument& document = *window.textView().document();
  ASSERT_EQ(document.blockCount(), 1001);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(document.findBlockByNumber(i).text().mid(25), "Info:  line " + QString::number(i));
  }
}

TEST_F(ConsoleWindowTest, dropsQueuedLinesWhenItIsDestroyed) {
  auto other = std::make_unique<ConsoleWindow>();
  int shown = 0;
  other->setLinesObserver([&](const auto&) { ++shown; });
  other->view().appendLine(line("Info", "queued"));
  other.reset();
  deliver();
  EXPECT_EQ(shown, 0);
}

TEST_F(ConsoleWindowTest, hasAccessibleNames) {
  EXPECT_FALSE(window.textView().accessibleName().isEmpty());
  EXPECT_FALSE(window.searchField().accessibleName().isEmpty());
}

}  // namespace
}  // namespace moxtel
