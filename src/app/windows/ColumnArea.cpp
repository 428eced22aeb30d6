#include "app/windows/ColumnArea.h"

#include <QGridLayout>
#include <QVBoxLayout>

namespace moxtel {

namespace {
constexpr int kCharactersOfTwoColumns = 120;
}  // namespace

ColumnArea::ColumnArea(std::vector<QWidget*> groups, const std::vector<QWidget*>& below, QWidget* parent)
    : QScrollArea(parent), groups_(std::move(groups)), grid_(new QGridLayout) {
  auto* content = new QWidget;
  auto* column = new QVBoxLayout(content);
  column->addLayout(grid_);
  for (QWidget* widget : below) column->addWidget(widget, widget == below.back() ? 1 : 0);
  arrange(2);
  setWidget(content);
  setWidgetResizable(true);
  setFrameShape(QFrame::NoFrame);
}

void ColumnArea::resizeEvent(QResizeEvent* event) {
  const int wanted = kCharactersOfTwoColumns * fontMetrics().averageCharWidth();
  arrange(viewport()->width() < wanted ? 1 : 2);
  QScrollArea::resizeEvent(event);
}

void ColumnArea::arrange(int columns) {
  if (columns == columns_) return;
  columns_ = columns;
  for (int i = 0; i < static_cast<int>(groups_.size()); ++i) {
    grid_->addWidget(groups_[static_cast<std::size_t>(i)], i / columns, i % columns);
  }
  grid_->setColumnStretch(0, 1);
  grid_->setColumnStretch(1, columns - 1);
}

}  // namespace moxtel
