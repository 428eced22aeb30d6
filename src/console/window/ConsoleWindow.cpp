#include "console/window/ConsoleWindow.h"

#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBlock>
#include <QToolButton>
#include <QVBoxLayout>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {}  // namespace

QFont fontFor(const FontDescription& description) {
  QFont font;
  const QString name = shown(description.name);
  if (QFontDatabase::hasFamily(name)) {
    font = QFont(name);
  } else if (description.fixedPitch) {
    font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  }
  font.setPointSize(description.points);
  font.setBold(description.bold);
  return font;
}

// The queue between the two threads: the core thread adds lines, the window takes all of them.
class ConsoleWindow::Feed final : public ConsoleView, public std::enable_shared_from_this<Feed> {
 public:
  explicit Feed(ConsoleWindow& window) : window_(&window) {}

  void appendLine(const ConsoleLine& line) override {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
    wake();
  }
  void raise() override {
    const std::lock_guard lock(mutex_);
    raised_ = true;
    wake();
  }
  // Called on the windows' thread before the window is destroyed.
  void detach() {
    const std::lock_guard lock(mutex_);
    window_ = nullptr;
  }

 private:
  // Posts drain() to the windows' thread unless a call is already pending. Requires mutex_.
  void wake() {
    if (pending_ || !window_) return;
    pending_ = true;
    QMetaObject::invokeMethod(
        window_, [feed = shared_from_this()] { feed->drain(); }, Qt::QueuedConnection);
  }

  void drain() {
    std::vector<ConsoleLine> lines;
    bool raised = false;
    ConsoleWindow* window = nullptr;
    {
      const std::lock_guard lock(mutex_);
      lines.swap(lines_);
      std::swap(raised, raised_);
      pending_ = false;
      window = window_;
    }
    if (!window) return;
    if (!lines.empty()) window->appendLines(lines);
    if (raised) window->raiseWindow();
  }

  std::mutex mutex_;
  ConsoleWindow* window_;
  std::vector<ConsoleLine> lines_;
  bool raised_ = false;
  bool pending_ = false;
};

ConsoleWindow::ConsoleWindow(QWidget* parent)
    : QWidget(parent, Qt::Window),
      textView_(new QPlainTextEdit),
      search_(new QLineEdit),
      feed_(std::make_shared<Feed>(*this)) {
  setWindowTitle(WindowText::tr("Console"));
  resize(900, 420);
  // Only the main window keeps the program running.
  setAttribute(Qt::WA_QuitOnClose, false);
  textView_->setReadOnly(true);
  // Text can be selected and copied with the keyboard alone.
  textView_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  textView_->setUndoRedoEnabled(false);
  // The last line is the empty one after the newest line's end.
  textView_->setMaximumBlockCount(kMostLines + 1);
  textView_->setTabChangesFocus(true);
  textView_->setLineWrapMode(QPlainTextEdit::WidgetWidth);
  const QFont fixed = fontFor(MXSConsole::fixedFont());
  textView_->setFont(fixed);
  textView_->setAccessibleName(WindowText::tr("Console"));
  plain_.setFont(fixed);
  title_.setFont(fontFor(MXSConsole::boldFont()));
  error_ = title_;
  error_.setForeground(errorColor());
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(textView_);
  makeSearchBar(*layout);
}

ConsoleWindow::~ConsoleWindow() { feed_->detach(); }

ConsoleView& ConsoleWindow::view() { return *feed_; }

void ConsoleWindow::makeSearchBar(QVBoxLayout& layout) {
  auto* bar = new QHBoxLayout;
  search_->setPlaceholderText(WindowText::tr("Find"));
  search_->setClearButtonEnabled(true);
  search_->setAccessibleName(WindowText::tr("Find"));
  auto* previous = new QToolButton;
  previous->setArrowType(Qt::UpArrow);
  previous->setToolTip(WindowText::tr("Find previous"));
  previous->setAccessibleName(WindowText::tr("Find previous"));
  auto* next = new QToolButton;
  next->setArrowType(Qt::DownArrow);
  next->setToolTip(WindowText::tr("Find next"));
  next->setAccessibleName(WindowText::tr("Find next"));
  bar->addWidget(search_);
  bar->addWidget(previous);
  bar->addWidget(next);
  layout.addLayout(bar);
  connect(search_, &QLineEdit::returnPressed, this, [this] { findNext(); });
  connect(next, &QToolButton::clicked, this, [this] { findNext(); });
  connect(previous, &QToolButton::clicked, this, [this] { findNext(true); });
  const auto shortcut = [this](const QKeySequence& keys, auto action) {
    connect(new QShortcut(keys, this), &QShortcut::activated, this, action);
  };
  shortcut(QKeySequence::Find, [this] { search_->setFocus(); });
  shortcut(QKeySequence::FindNext, [this] { findNext(); });
  shortcut(QKeySequence::FindPrevious, [this] { findNext(true); });
  shortcut(QKeySequence::Close, [this] { close(); });
}

bool ConsoleWindow::findNext(bool backwards) {
  const QString wanted = search_->text();
  if (wanted.isEmpty()) return false;
  const auto flags = backwards ? QTextDocument::FindBackward : QTextDocument::FindFlags();
  if (textView_->find(wanted, flags)) return true;
  const QTextCursor before = textView_->textCursor();
  textView_->moveCursor(backwards ? QTextCursor::End : QTextCursor::Start);
  if (textView_->find(wanted, flags)) return true;
  textView_->setTextCursor(before);
  return false;
}

void ConsoleWindow::raiseWindow() {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

QColor ConsoleWindow::errorColor() const {
  constexpr QRgb kRedOnDark = 0xffff7878;
  return palette().color(QPalette::Base).lightnessF() < 0.5F ? QColor(kRedOnDark) : QColor(Qt::red);
}

void ConsoleWindow::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) recolorErrors();
}

// Gives the error titles the color for the new palette.
void ConsoleWindow::recolorErrors() {
  if (error_.foreground().color() == errorColor()) return;
  error_.setForeground(errorColor());
  QTextCursor cursor(textView_->document());
  cursor.beginEditBlock();
  for (QTextBlock block = textView_->document()->begin(); block.isValid(); block = block.next()) {
    for (auto at = block.begin(); !at.atEnd(); ++at) {
      const QTextFragment run = at.fragment();
      if (!run.charFormat().hasProperty(QTextFormat::ForegroundBrush)) continue;
      cursor.setPosition(run.position());
      cursor.setPosition(run.position() + run.length(), QTextCursor::KeepAnchor);
      cursor.setCharFormat(error_);
    }
  }
  cursor.endEditBlock();
}

void ConsoleWindow::appendLines(const std::vector<ConsoleLine>& lines) {
  QScrollBar* bar = textView_->verticalScrollBar();
  const bool wasAtEnd = bar->value() >= bar->maximum();
  const int scrollPosition = bar->value();
  QTextCursor reader = textView_->textCursor();
  const int anchor = reader.anchor();
  const int position = reader.position();
  QTextCursor end(textView_->document());
  end.movePosition(QTextCursor::End);
  end.beginEditBlock();
  for (const ConsoleLine& line : lines) {
    end.insertText(shown(line.dateRun()), plain_);
    end.insertText(shown(line.titleRun()), line.isError() ? error_ : title_);
    end.insertText(shown(line.textRun()), plain_);
  }
  end.endEditBlock();
  // A selection that reached the end has grown with the text. Restoring it scrolls, so the scroll position is
  // restored too.
  const QTextCursor now = textView_->textCursor();
  if (anchor != position && (now.anchor() != anchor || now.position() != position)) {
    reader.setPosition(anchor);
    reader.setPosition(position, QTextCursor::KeepAnchor);
    textView_->setTextCursor(reader);
    bar->setValue(scrollPosition);
  }
  if (wasAtEnd) bar->setValue(bar->maximum());
  if (observer_) observer_(lines);
}

}  // namespace moxtel
