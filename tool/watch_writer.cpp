// A write to a terminal that was stopped ends when it goes on, or with the process: there is no
// other way out of it. So the wait for the thread is bounded, and who gives up ends the process.
#include "watch_writer.hpp"

#include <cstdlib>
#include <utility>

#include "verb.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t ring_bytes = std::size_t{1} << 20;  // about 15,000 events of numbers
// Small enough that a slow line, too, is seen to move.
constexpr std::size_t batch_bytes = 16384;
constexpr std::chrono::seconds longest_rest{10};
constexpr std::chrono::seconds short_time{2};

}  // namespace

WatchWriter::WatchWriter(Output& out)
    : out_(out), ring_(ring_bytes), thread_([this] { write_all(); }) {}

WatchWriter::~WatchWriter() {
    if (thread_.joinable() && !finish("", Patience::short_time)) {
        std::_Exit(static_cast<int>(ExitCode::failed));
    }
}

bool WatchWriter::finish(std::string last, Patience patience) {
    std::unique_lock lock(mutex_);
    last_ = std::move(last);
    ring_.close();
    const auto end = std::chrono::steady_clock::now() + short_time;
    while (!has_ended_) {
        const guint64 before = batches_;
        const auto moves = [&] { return has_ended_ || batches_ != before; };
        const bool is_in_time = patience == Patience::short_time
                                    ? has_moved_.wait_until(lock, end, moves)
                                    : has_moved_.wait_for(lock, longest_rest, moves);
        if (!is_in_time) return false;
    }
    lock.unlock();
    if (thread_.joinable()) thread_.join();
    return true;
}

void WatchWriter::rethrow() const {
    if (failure_) std::rethrow_exception(failure_);
}

void WatchWriter::write_all() {
    try {
        WatchRing::Batch batch;
        while (ring_.take(batch, batch_bytes)) {
            out_.write_now(batch.text);
            events_written_ += batch.events;
            const std::lock_guard lock(mutex_);
            ++batches_;
            has_moved_.notify_one();
        }
        std::string last;
        {
            const std::lock_guard lock(mutex_);
            last.swap(last_);
        }
        out_.write_now(last);
    } catch (const std::exception&) {
        failure_ = std::current_exception();
        has_failed_ = true;
    }
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    has_moved_.notify_one();
}

}  // namespace mox::tool
