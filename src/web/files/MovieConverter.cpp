#include "web/files/MovieConverter.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "platform/files/FileCache.h"
#include "platform/process/ChildProcess.h"
#include "platform/system/Shortage.h"
#include "platform/system/SystemLog.h"

namespace moxtel {
namespace {

// The last "out_time_us=NUMBER" of ffmpeg's progress, as a share of the length.
int percentIn(std::string_view progress, double seconds) {
  constexpr std::string_view kKey = "out_time_us=";
  const std::size_t at = progress.rfind(kKey);
  if (at == std::string_view::npos || seconds <= 0) return -1;
  std::int64_t done = 0;
  const std::string_view number = progress.substr(at + kKey.size());
  if (std::from_chars(number.data(), number.data() + number.size(), done).ec != std::errc()) return -1;
  return static_cast<int>(std::clamp(static_cast<double>(done) / 1e4 / seconds, 0.0, 99.0));
}

}  // namespace

std::string programOnPath(const std::string& name) {
  const char* const path = std::getenv("PATH");
  std::string_view folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    const std::filesystem::path program = std::filesystem::path(folders.substr(0, end)) / name;
    std::error_code error;
    constexpr auto kRun = std::filesystem::perms::others_exec | std::filesystem::perms::owner_exec;
    const auto status = std::filesystem::status(program, error);
    if (program.is_absolute() && std::filesystem::is_regular_file(status) &&
        (status.permissions() & kRun) != std::filesystem::perms::none)
      return program;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return {};
}

MovieConverter::MovieConverter(FileCache& cache, ProcessRunner& processes, std::string helper,
                               std::string ffmpeg, Now now)
    : cache_(cache),
      processes_(processes),
      helper_(std::move(helper)),
      ffmpeg_(std::move(ffmpeg)),
      now_(std::move(now)),
      thread_([this] { runJobs(); }) {}

MovieConverter::~MovieConverter() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

bool MovieConverter::isAvailable() const {
  return cache_.isUsable() && !(ffmpeg_.empty() ? programOnPath("ffmpeg") : ffmpeg_).empty();
}

MovieConverter::Job* MovieConverter::find(const std::string& key) const {
  const auto found =
      std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job->key == key; });
  return found == jobs_.end() ? nullptr : found->get();
}

void MovieConverter::start(const std::string& key, OpenFile movie, const std::string& format,
                           double seconds) {
  const std::lock_guard lock(mutex_);
  const bool failed = std::find(failed_.begin(), failed_.end(), key) != failed_.end();
  if (failed || find(key) || jobs_.size() > kMostWaiting) return;
  auto job = std::make_shared<Job>();
  job->key = key;
  job->movie = std::move(movie);
  job->format = format;
  job->seconds = seconds;
  job->asked = ticks();
  jobs_.push_back(std::move(job));
  wake_.notify_all();
}

MovieConverter::State MovieConverter::stateOf(const std::string& key) {
  const std::lock_guard lock(mutex_);
  if (Job* const job = find(key)) {
    job->asked = ticks();
    const bool isFirst = job == jobs_.front().get();
    return {isFirst ? State::Step::Converting : State::Step::Waiting, job->percent};
  }
  const bool failed = std::find(failed_.begin(), failed_.end(), key) != failed_.end();
  return {failed ? State::Step::Failed : State::Step::Unknown, 0};
}

bool MovieConverter::isUnwanted(const Job& job) const {
  const std::chrono::steady_clock::duration waited(ticks() - job.asked);
  return ending_ || waited > kPatience;
}

void MovieConverter::runJobs() {
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
    if (ending_) return;
    const std::shared_ptr<Job> job = jobs_.front();
    lock.unlock();
    const ShortageWatch shortages;
    const bool done = isUnwanted(*job) || convert(*job) || isUnwanted(*job) || shortages.sawOne();
    lock.lock();
    jobs_.pop_front();
    if (done) continue;
    failed_.push_back(job->key);
    if (failed_.size() > kMostWaiting) failed_.pop_front();
  }
}

bool MovieConverter::convert(Job& job) {
  const auto folder = cache_.folderForMaking();
  const std::string program = ffmpeg_.empty() ? programOnPath("ffmpeg") : ffmpeg_;
  if (!folder || program.empty()) return false;
  const std::string output = folder->path() + "/movie.mp4";
  ProcessRequest request;
  request.program = helper_;
  request.arguments = {program, job.format, output};
  request.inputDescriptor = job.movie.descriptor.get();
  request.timeout = kLongest;
  request.outputLimit = std::size_t{64} << 20;  // progress of kLongest
  request.canceled = [&] { return isUnwanted(job); };
  request.onOutput = [&](std::string_view chunk) {
    const int percent = percentIn(chunk, job.seconds);
    if (percent >= 0) job.percent = percent;
    return true;
  };
  const ProcessResult result = processes_.run(request);
  const bool complete = result.ending == ProcessResult::Ending::Exited && result.exitStatus == 0;
  if (!complete && !isUnwanted(job)) NSLog("could not convert the movie '%@'", job.movie.path);
  return complete && cache_.adopt(job.key, output);
}

}  // namespace moxtel
