// A circle of bytes: each text behind a head that tells its length.
#include "watch_ring.hpp"

#include <algorithm>
#include <cstring>

namespace mox::tool {

bool WatchRing::push(std::string_view text, guint32 events) {
    {
        const std::lock_guard lock(mutex_);
        const std::size_t needed = sizeof(Head) + text.size();
        if (is_closed_ || needed > room_.size() - used_) return false;
        const Head head{static_cast<guint32>(text.size()), events};
        copy_in(&head, sizeof head);
        copy_in(text.data(), text.size());
    }
    has_text_.notify_one();
    return true;
}

std::size_t WatchRing::used() const {
    const std::lock_guard lock(mutex_);
    return used_;
}

void WatchRing::close() {
    {
        const std::lock_guard lock(mutex_);
        is_closed_ = true;
    }
    has_text_.notify_one();
}

bool WatchRing::take(Batch& batch, std::size_t most) {
    batch.text.clear();
    batch.events = 0;
    std::unique_lock lock(mutex_);
    has_text_.wait(lock, [this] { return is_closed_ || used_ > 0; });
    const bool has_text = used_ > 0;
    while (used_ > 0 && batch.text.size() < most) {
        Head head{};
        copy_out(&head, sizeof head);
        const std::size_t begin = batch.text.size();
        batch.text.resize(begin + head.length);
        copy_out(batch.text.data() + begin, head.length);
        batch.events += head.events;
    }
    return has_text;
}

void WatchRing::copy_in(const void* bytes, std::size_t count) {
    const std::size_t begin = (first_ + used_) % room_.size();
    const std::size_t before_end = std::min(count, room_.size() - begin);
    const char* const from = static_cast<const char*>(bytes);
    std::memcpy(room_.data() + begin, from, before_end);
    std::memcpy(room_.data(), from + before_end, count - before_end);
    used_ += count;
}

void WatchRing::copy_out(void* bytes, std::size_t count) {
    const std::size_t before_end = std::min(count, room_.size() - first_);
    char* const to = static_cast<char*>(bytes);
    std::memcpy(to, room_.data() + first_, before_end);
    std::memcpy(to + before_end, room_.data(), count - before_end);
    first_ = (first_ + count) % room_.size();
    used_ -= count;
}

}  // namespace mox::tool
