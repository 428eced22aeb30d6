// A scrollable area that shows groups in two columns where there is room for them, else below each other.
// Windows' thread.
#pragma once

#include <QScrollArea>
#include <vector>

class QGridLayout;

namespace moxtel {

class ColumnArea final : public QScrollArea {
 public:
  // Takes the groups row by row, and what is below them in any case. The last of these gets the free space.
  ColumnArea(std::vector<QWidget*> groups, const std::vector<QWidget*>& below, QWidget* parent = nullptr);

  int columns() const { return columns_; }

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  void arrange(int columns);

  const std::vector<QWidget*> groups_;
  QGridLayout* grid_;
  int columns_ = 0;
};

}  // namespace moxtel
