#include "app/windows/ExportProcess.h"

#include <QJsonDocument>
#include <array>

namespace moxtel {

namespace {

// The findings are the last member of the report, and report.html has them. Within texts, JSON escapes
// quotes.
constexpr const char* kFindings = ",\"findings\":[";
constexpr qsizetype kMostMessages = 2000;  // characters
constexpr int kTimeToEnd = 2000;           // milliseconds

}  // namespace

QStringList exportArguments(const ExportChoices& choices) {
  QStringList arguments{"--json", "--progress"};
  arguments << "--layout" << (choices.byDates ? "dates" : "events");
  constexpr std::array kVersions{"both", "edited", "original"};
  arguments << "--versions" << kVersions[static_cast<std::size_t>(choices.versions)];
  arguments << "--sidecars" << (choices.sidecars ? "xmp" : "none");
  arguments << "--hidden" << (choices.hidden ? "separate" : "leave");
  for (const QString& name : choices.only) arguments << "--only=" + name;
  // What follows is never an option.
  return arguments << "--" << QString::fromStdString(choices.library) << choices.target;
}

ExportProcess::ExportProcess(const QString& program, const QStringList& arguments, Observer observer)
    : observer_(std::move(observer)) {
  QObject::connect(&process_, &QProcess::readyReadStandardOutput, &process_, [this] { read(); });
  QObject::connect(&process_, &QProcess::readyReadStandardError, &process_, [this] { readMessages(); });
  QObject::connect(&process_, &QProcess::finished, &process_, [this] { takeEnd(); });
  QObject::connect(&process_, &QProcess::errorOccurred, &process_, [this](QProcess::ProcessError error) {
    if (error != QProcess::FailedToStart) return;
    end_.messages = process_.errorString();
    takeEnd();
  });
  process_.start(program, arguments, QIODevice::ReadOnly);
}

ExportProcess::~ExportProcess() {
  observer_ = {};
  hasEnded_ = true;
  if (process_.state() == QProcess::NotRunning) return;
  process_.terminate();
  // If it waits for a disk, the kill of QProcess's destructor ends it as soon as possible.
  process_.waitForFinished(kTimeToEnd);
}

void ExportProcess::read() {
  unread_ += process_.readAllStandardOutput();
  qsizetype begin = 0;
  for (qsizetype end = 0; !hasEnded_ && (end = unread_.indexOf('\n', begin)) >= 0; begin = end + 1) {
    takeLine(unread_.mid(begin, end - begin));
  }
  unread_.remove(0, begin);
  const qsizetype findings = unread_.indexOf(kFindings);
  if (findings >= 0) unread_.truncate(findings + static_cast<qsizetype>(qstrlen(kFindings)));
}

void ExportProcess::takeLine(QByteArray line) {
  const qsizetype findings = line.indexOf(kFindings);
  if (findings >= 0) line = line.left(findings) + '}';
  const QJsonObject object = QJsonDocument::fromJson(line).object();
  if (object.contains("progress")) {
    if (observer_.progress) observer_.progress(object["progress"].toObject());
  } else if (object.contains("complete")) {
    end_.report = object;
  }
}

void ExportProcess::readMessages() {
  end_.messages = (end_.messages + QString::fromUtf8(process_.readAllStandardError())).right(kMostMessages);
}

void ExportProcess::takeEnd() {
  if (hasEnded_) return;
  read();
  readMessages();
  hasEnded_ = true;
  if (observer_.end) observer_.end(end_);
}

}  // namespace moxtel
