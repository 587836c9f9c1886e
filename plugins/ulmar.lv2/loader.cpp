#include "plugins/ulmar.lv2/loader.h"

#include <exception>
#include <new>
#include <utility>

#include "ulmar/host/error.h"

namespace ulmar::lv2 {
namespace {

// Error's sentence, or what stands for running out of memory.
std::string sentenceOf(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
    return "cannot load the response: there is not enough memory";
  }
  return error.what();
}

}  // namespace

Loader::Loader(const Setting& setting) : setting_(setting) {}

Loader::~Loader() {
  delete nextPlayer_.load();
  delete oldPlayer_.load();
}

void Loader::setPath(const std::string& path) {
  const std::lock_guard lock(mutex_);
  path_ = path;
}

std::string Loader::path() const {
  const std::lock_guard lock(mutex_);
  return path_;
}

Outcome Loader::load(const ResponseRequest& request) {
  const std::lock_guard lock(mutex_);
  request_ = request;
  return build(request_);
}

Outcome Loader::reload() {
  const std::lock_guard lock(mutex_);
  return build(request_);
}

Outcome Loader::build(const ResponseRequest& request) {
  try {
    handOver(buildStream(request, path_, setting_));
    return {};
  } catch (const std::exception& error) {
    const bool fromFile = request.choice == Choice::file && !path_.empty();
    Outcome outcome = {fromFile ? Status::fileFailed : Status::choiceFailed,
                       sentenceOf(error)};
    if (newest_ != nullptr) return outcome;
    // Something must play: the hall, as it is by itself.
    ResponseRequest hall;
    hall.choice = Choice::hall;
    hall.block = request.block;
    handOver(buildStream(hall, "", setting_));
    outcome.message += "; the built-in hall plays";
    return outcome;
  }
}

void Loader::handOver(std::unique_ptr<host::Stream> stream) {
  if (newest_ != nullptr && stream->latency() == builtBlock_) {
    // One that was handed over before and has not begun is freed here.
    newest_->handOver(std::move(stream));
    return;
  }
  builtBlock_ = stream->latency();
  auto player = std::make_unique<Player>(setting_, std::move(stream));
  newest_ = player.get();
  if (player_ == nullptr) {
    player_ = std::move(player);
    return;
  }
  player->startFaded();
  delete nextPlayer_.exchange(player.release());
}

void Loader::collect() {
  const std::lock_guard lock(mutex_);
  delete oldPlayer_.exchange(nullptr);
  if (newest_ != nullptr) newest_->takeBack();
}

bool Loader::swap() {
  if (oldPlayer_.load() != nullptr) return false;
  Player* const next = nextPlayer_.exchange(nullptr);
  if (next == nullptr) return false;
  oldPlayer_.store(player_.release());
  player_.reset(next);
  return true;
}

void Loader::swapNow() {
  collect();
  if (swap()) collect();
}

}  // namespace ulmar::lv2
