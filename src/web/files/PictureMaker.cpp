#include "web/files/PictureMaker.h"

#include <algorithm>

#include "platform/files/FileCache.h"
#include "platform/system/Shortage.h"
#include "web/http/HttpResponder.h"

namespace moxtel {

PictureMaker::PictureMaker(FileCache& cache, ProcessRunner& processes, std::string helper)
    : cache_(cache), processes_(processes), helper_(std::move(helper)) {
  for (std::size_t i = 0; i < kThreads; ++i) threads_.emplace_back([this] { runJobs(); });
}

PictureMaker::~PictureMaker() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool PictureMaker::make(const std::string& key, Make make, std::shared_ptr<HttpResponder> responder,
                        Done done) {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job->key == key; });
  if (found != jobs_.end()) {
    if ((*found)->waiters.size() >= kMostWaitingForOne) return false;
    (*found)->waiters.push_back({std::move(responder), std::move(done)});
    return true;
  }
  if (jobs_.size() >= kMostWaiting + kThreads || ending_) return false;
  auto job = std::make_shared<Job>();
  job->key = key;
  job->make = std::move(make);
  job->waiters.push_back({std::move(responder), std::move(done)});
  jobs_.push_back(std::move(job));
  wake_.notify_one();
  return true;
}

bool PictureMaker::isUnwanted(const Job& job) const {
  if (ending_) return true;
  const std::lock_guard lock(mutex_);
  return std::all_of(job.waiters.begin(), job.waiters.end(),
                     [](const Waiter& waiter) { return waiter.responder->isGone(); });
}

// The first job that does not run yet; null at the end.
std::shared_ptr<PictureMaker::Job> PictureMaker::next() {
  std::unique_lock lock(mutex_);
  std::shared_ptr<Job> found;
  wake_.wait(lock, [&] {
    const auto waiting =
        std::find_if(jobs_.begin(), jobs_.end(), [](const auto& job) { return !job->running; });
    if (waiting != jobs_.end()) found = *waiting;
    return ending_ || found;
  });
  if (ending_) return nullptr;
  found->running = true;
  return found;
}

void PictureMaker::runJobs() {
  Job* current = nullptr;
  PictureDecoder decoder(processes_, helper_, [&] {
    current->canceled = isUnwanted(*current);
    return current->canceled;
  });
  while (const std::shared_ptr<Job> job = next()) {
    current = job.get();
    run(job, decoder);
  }
}

void PictureMaker::run(const std::shared_ptr<Job>& job, PictureDecoder& decoder) {
  std::shared_ptr<const Bytes> made;
  const ShortageWatch shortages;
  job->canceled = isUnwanted(*job);
  if (!job->canceled) {
    if (auto bytes = job->make(decoder)) made = std::make_shared<const Bytes>(*std::move(bytes));
  }
  if (made) cache_.store(job->key, *made);
  std::vector<Waiter> waiters;
  {
    const std::lock_guard lock(mutex_);
    std::erase_if(job->waiters, [](const Waiter& waiter) { return waiter.responder->isGone(); });
    job->running = false;
    // Somebody came after the last one had left.
    if (!made && job->canceled && !job->waiters.empty()) return;
    std::erase(jobs_, job);
    waiters = std::move(job->waiters);
  }
  const bool isShort = !made && shortages.sawOne();
  for (const Waiter& waiter : waiters) {
    if (isShort) {
      waiter.responder->send(errorReply(503, "busy"));
    } else {
      waiter.done(waiter.responder, made);
    }
  }
}

}  // namespace moxtel
