#include "app/windows/LibraryChoice.h"

#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QUrl>

#include "app/windows/LibraryChooser.h"
#include "console/window/WindowText.h"

namespace moxtel {

LibraryChoice::LibraryChoice(QWidget& window, std::function<void(const std::string& path)> serve)
    : window_(window), serve_(std::move(serve)) {
  askForFolder = [this](const QString& begin) {
    return QFileDialog::getExistingDirectory(&window_, WindowText::tr("Choose the library folder"), begin);
  };
  showMessage = [this](const QString& title, const QString& text, std::function<void()> closed) {
    auto* box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::Ok, &window_);
    box->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(box, &QDialog::finished, &window_, [closed = std::move(closed)] { closed(); });
    box->open();
  };
}

void LibraryChoice::choose(const QString& begin) {
  const QString folder = askForFolder(begin);
  if (folder.isEmpty()) return;
  origin_ = Origin::Dialog;
  chosen_ = folder;
  serve_(QFile::encodeName(folder).toStdString());
}

void LibraryChoice::take(const std::string& path) {
  origin_ = Origin::List;
  serve_(path);
}

bool LibraryChoice::isAcceptable(const QMimeData& data) {
  return data.hasUrls() && data.urls().front().isLocalFile();
}

bool LibraryChoice::takeDropped(const QMimeData& data) {
  if (!isAcceptable(data)) return false;
  origin_ = Origin::Drop;
  serve_(QFile::encodeName(data.urls().front().toLocalFile()).toStdString());
  return true;
}

void LibraryChoice::refuse(const std::string& why, const std::vector<FoundLibrary>& found,
                           const std::string& advice) {
  if (found.size() == 1 && origin_ == Origin::Drop) return take(found.front().path);
  if (!found.empty()) return offer(found);
  showMessage(WindowText::tr("Cannot serve this folder"), WindowText::of(why) + shown(advice),
              [this, again = origin_, from = chosen_] {
                if (again == Origin::Dialog) choose(from);
              });
}

void LibraryChoice::offer(const std::vector<FoundLibrary>& found) {
  auto* chooser = new LibraryChooser(found, &window_);
  chooser->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(chooser, &QDialog::accepted, &window_, [this, chooser] { take(chooser->chosenPath()); });
  chooser->onChooseAnother([this, chooser] {
    chooser->reject();
    choose(chosen_);
  });
  chooser->open();
}

}  // namespace moxtel
