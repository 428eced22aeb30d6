// How the user chooses the library to serve: by a dialog, a list, or a drop on the window; and what happens
// when the folder is none. Windows' thread.
#pragma once

#include <QString>
#include <functional>
#include <string>
#include <vector>

#include "library/LibrarySearch.h"

class QMimeData;
class QWidget;

namespace moxtel {

class LibraryChoice final {
 public:
  // Borrows the window, on which the dialogs open. Serve requests the library at a path; the answer, if it
  // cannot be served, is refuse().
  LibraryChoice(QWidget& window, std::function<void(const std::string& path)> serve);

  // Opens the dialog in a folder; empty: where it opens by itself.
  void choose(const QString& begin);
  // A library of a list.
  void take(const std::string& path);
  // Something that was dropped: a library, a file inside it, or a folder or disk with libraries. False for
  // what is no local file.
  bool takeDropped(const QMimeData& data);
  static bool isAcceptable(const QMimeData& data);
  // The last choice cannot be served. Offers what was found in its place; without that it says why, and opens
  // the dialog again if the choice was made there. One library that was found for a drop is served at once.
  // Advice: sentences about what helps, each after a blank.
  void refuse(const std::string& why, const std::vector<FoundLibrary>& found, const std::string& advice = {});

  // Shows a folder dialog; an empty result means canceled. Tests replace it.
  std::function<QString(const QString& begin)> askForFolder;
  // Shows a message, and calls back when it is closed. Tests replace it.
  std::function<void(const QString& title, const QString& text, std::function<void()> closed)> showMessage;

 private:
  enum class Origin : std::uint8_t { List, Dialog, Drop };
  void offer(const std::vector<FoundLibrary>& found);

  QWidget& window_;
  std::function<void(const std::string& path)> serve_;
  Origin origin_ = Origin::List;
  QString chosen_;
};

}  // namespace moxtel
