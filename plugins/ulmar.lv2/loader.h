// The part of an instance that is not in real time: it reads responses, builds streams,
// hands them over and frees them.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "plugins/ulmar.lv2/player.h"
#include "plugins/ulmar.lv2/response_request.h"

namespace ulmar::lv2 {

/// What became of a request.
struct Outcome {
  Status status = Status::ready;
  std::string message;  // for the log, empty if there is nothing to say
};

/// All but player() and swap() is for threads that may wait; they take turns.
class Loader {
 public:
  explicit Loader(const Setting& setting);
  ~Loader();
  Loader(const Loader&) = delete;
  Loader& operator=(const Loader&) = delete;

  /// Sets the file of Choice::file, without loading it.
  void setPath(const std::string& path);
  std::string path() const;

  /// Builds what is asked for and hands it over. What cannot be built leaves what plays
  /// as it is; a file that cannot be used gives way to the hall only where nothing has
  /// been built yet.
  Outcome load(const ResponseRequest& request);
  /// The request before once more, as of another file.
  Outcome reload();

  /// Frees what the real-time thread has done with.
  void collect();

  /// For the real-time thread. Null before the first load().
  Player* player() { return player_.get(); }
  /// Whether another player waits, as for another block length.
  bool hasNextPlayer() const { return nextPlayer_.load() != nullptr; }
  /// Puts it in place of the one that plays, if that one's predecessor has been freed.
  bool swap();
  /// While nothing plays: the same at once.
  void swapNow();

 private:
  Outcome build(const ResponseRequest& request);
  void handOver(std::unique_ptr<host::Stream> stream);

  Setting setting_;
  mutable std::mutex mutex_;
  std::string path_;
  ResponseRequest request_;  // the last
  int builtBlock_ = 0;       // of the last player that was built; 0 for none
  std::unique_ptr<Player> player_;
  /// The player that plays next, if any, else the one that plays: what streams of the
  /// last block length are handed to.
  Player* newest_ = nullptr;
  std::atomic<Player*> nextPlayer_{nullptr};
  std::atomic<Player*> oldPlayer_{nullptr};
};

}  // namespace ulmar::lv2
