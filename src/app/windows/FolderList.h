// A list of folders with buttons to add and to remove one, for a setting whose entries are separated by
// colons. Windows' thread.
#pragma once

#include <QWidget>
#include <functional>
#include <string>

class QListWidget;

namespace moxtel {

class FolderList final : public QWidget {
 public:
  // The name of the list is for screen readers.
  explicit FolderList(const QString& name, QWidget* parent = nullptr);

  void setSetting(const std::string& setting);
  std::string setting() const;

  // An empty result means canceled. Tests replace it.
  std::function<QString()> askForFolder;

 private:
  void add();
  void addEntry(const QString& entry);

  QListWidget* entries_;
};

}  // namespace moxtel
