// Runs moxtel-export for a window and reads its progress and its report (docs/export-json.md): a process of
// its own, so a damaged library or a disk that fails does not stop the server. Windows' thread.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <string>

namespace moxtel {

// What the user chose.
struct ExportChoices {
  enum class Versions : std::uint8_t { Both, Edited, Original };

  std::string library;  // path
  QString target;       // path
  Versions versions = Versions::Both;
  bool byDates = false;  // folders of years and days instead of events
  bool sidecars = true;
  bool hidden = true;  // hidden photos, too, in a folder of their own
  QStringList only;    // albums, events and persons; empty: everything
};

QStringList exportArguments(const ExportChoices& choices);

class ExportProcess final {
 public:
  struct End {
    QJsonObject report;  // without its findings, which may be many; empty without a report
    QString messages;    // the last lines for people
  };
  struct Observer {
    std::function<void(const QJsonObject& progress)> progress;
    std::function<void(const End& end)> end;
  };

  ExportProcess(const QString& program, const QStringList& arguments, Observer observer);
  ~ExportProcess();
  ExportProcess(const ExportProcess&) = delete;
  ExportProcess& operator=(const ExportProcess&) = delete;

  // The process ends soon, with a report. What was copied stays.
  void cancel() { process_.terminate(); }

 private:
  void read();
  void readMessages();
  void takeLine(QByteArray line);
  void takeEnd();

  Observer observer_;
  QByteArray unread_;
  End end_;
  bool hasEnded_ = false;
  QProcess process_;
};

}  // namespace moxtel
