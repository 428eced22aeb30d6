// Lists the libraries that were found where the user chose a folder, with number of photos and newest date,
// for the user to choose one. Windows' thread.
#pragma once

#include <QDialog>
#include <functional>
#include <string>
#include <vector>

#include "library/LibrarySearch.h"

class QDialogButtonBox;
class QTreeWidget;

namespace moxtel {

class LibraryChooser final : public QDialog {
 public:
  // At least one library. The one with the newest date is selected first.
  explicit LibraryChooser(const std::vector<FoundLibrary>& libraries, QWidget* parent = nullptr);

  // The path of the selected library.
  std::string chosenPath() const;
  // Adds a button for a user who meant another folder.
  void onChooseAnother(std::function<void()> chooseAnother);

 private:
  void addLibrary(const FoundLibrary& library);

  QTreeWidget* list_;
  QDialogButtonBox* buttons_;
};

}  // namespace moxtel
