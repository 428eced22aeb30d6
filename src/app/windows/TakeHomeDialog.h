// "Take photos home…": copies the photos of a library into plain folders by moxtel-export: choices with size
// and free space, then progress, then the report. Windows' thread.
#pragma once

#include <QDialog>
#include <QTimer>
#include <QUrl>
#include <functional>
#include <memory>

#include "app/windows/ExportProcess.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace moxtel {

class TakeHomeDialog final : public QDialog {
 public:
  // The path of a library, and that of the program moxtel-export.
  TakeHomeDialog(std::string library, QString program, QWidget* parent = nullptr);

  // An empty result means canceled. Tests replace both.
  std::function<QString(const QString& begin)> askForFolder;
  std::function<void(const QUrl& url)> open;

  ExportChoices choices() const;
  // While photos are copied, it cancels; else it closes.
  void reject() override;

 protected:
  bool event(QEvent* event) override;

 private:
  QWidget* makeChoices();
  QWidget* makeProgress();
  QWidget* makeReport();
  QWidget* makeButtons();
  void chooseTarget();
  void choicesChanged();
  void measure();
  void showSize(const QJsonObject& planned);
  void start();
  void showProgress(const QJsonObject& progress);
  void showEnd(const ExportProcess::End& end);
  void endOfMeasuring(const ExportProcess::End& end);

  const std::string library_;
  const QString program_;
  QStackedWidget* pages_ = nullptr;
  QLineEdit* target_ = nullptr;
  QLineEdit* only_ = nullptr;
  QComboBox* versions_ = nullptr;
  QComboBox* layout_ = nullptr;
  QCheckBox* sidecars_ = nullptr;
  QCheckBox* hidden_ = nullptr;
  QLabel* size_ = nullptr;
  QLabel* step_ = nullptr;
  QLabel* rate_ = nullptr;
  QProgressBar* bar_ = nullptr;
  QLabel* result_ = nullptr;
  QLabel* counts_ = nullptr;
  QPushButton* start_ = nullptr;
  QPushButton* close_ = nullptr;
  QPushButton* openReport_ = nullptr;
  QPushButton* openFolder_ = nullptr;
  QUrl page_;
  bool isMeasured_ = false;
  bool isCanceled_ = false;
  QTimer measureSoon_;
  std::unique_ptr<ExportProcess> process_;  // measures, or copies
};

}  // namespace moxtel
