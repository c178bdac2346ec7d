// Fake queues: any id above 0 is a queue until a test says otherwise. What is sent is kept twice:
// in the queue, for a receiver, and in the record, for the test.
#include "osal_state.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace mox::fake::osal {

namespace {

// Ids of queues that the layer makes itself lie apart from those that tests invent.
constexpr gint32 first_queue_id = 9001;

bool exists(const State& s, gint32 queue_id) {
    return queue_id > 0 && s.removed_queues.count(queue_id) == 0;
}

gint32 planned_code(const std::map<gint32, gint32>& codes, gint32 queue_id) {
    const auto at = codes.find(queue_id);
    return at == codes.end() ? OSAL_OK : at->second;
}

// The contract's own refusals, before any queue is looked at.
gint32 check_message(gconstpointer message, gsize size) {
    gint32 type = 0;
    if (message == nullptr || size < sizeof type) return OSAL_ERR_ARGUMENT;
    std::memcpy(&type, message, sizeof type);
    if (type < 1) return OSAL_ERR_ARGUMENT;
    return size > OSAL_QUEUE_MESSAGE_MAX ? OSAL_ERR_TOO_BIG : OSAL_OK;
}

void drop_queue(State& s, gint32 queue_id) {
    s.queues.erase(queue_id);
    s.removed_queues.insert(queue_id);
    s.changed.notify_all();
}

}  // namespace

std::vector<SentMessage> sent() {
    const std::lock_guard lock{state().mutex};
    return state().sent;
}

std::vector<SentMessage> sent_to(gint32 queue_id) {
    const std::lock_guard lock{state().mutex};
    std::vector<SentMessage> result;
    const auto& all = state().sent;
    std::copy_if(all.begin(), all.end(), std::back_inserter(result),
                 [queue_id](const SentMessage& message) { return message.queue_id == queue_id; });
    return result;
}

gsize send_calls() {
    const std::lock_guard lock{state().mutex};
    return state().send_calls;
}

gsize receive_calls() {
    const std::lock_guard lock{state().mutex};
    return state().receive_calls;
}

void fail_send(guint n, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().send_plan = {n, code};
}

void fail_sends_from(guint n, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().send_plan = {n, code, true};
}

void fail_sends_to(gint32 queue_id, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().send_codes[queue_id] = code;
}

void fail_receives_from(gint32 queue_id, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().receive_codes[queue_id] = code;
    state().changed.notify_all();
}

void remove_queue(gint32 queue_id) {
    const std::lock_guard lock{state().mutex};
    drop_queue(state(), queue_id);
}

}  // namespace mox::fake::osal

using namespace mox::fake::osal;

gint32 osal_process_queue_send(gint32 queue_id, gconstpointer message, gsize size) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    ++s.send_calls;
    if (const gint32 planned = s.send_plan.next(); planned != OSAL_OK) return planned;
    if (const gint32 fault = check_message(message, size); fault != OSAL_OK) return fault;
    if (!exists(s, queue_id)) return OSAL_ERR_BAD_ID;
    if (const gint32 code = planned_code(s.send_codes, queue_id); code != OSAL_OK) return code;
    const auto* const first = static_cast<const guint8*>(message);
    std::vector<guint8> bytes(first, first + size);
    s.queues[queue_id].push_back(bytes);
    s.sent.push_back({queue_id, std::move(bytes), count_held_by_this_thread(s)});
    s.changed.notify_all();
    return OSAL_OK;
}

gint32 osal_process_queue_receive(gint32 queue_id, gpointer message, gsize capacity, gint32 wait) {
    State& s = state();
    std::unique_lock lock{s.mutex};
    ++s.receive_calls;
    if (message == nullptr || capacity < sizeof(gint32)) return OSAL_ERR_ARGUMENT;
    const auto settled = [&] {
        return !exists(s, queue_id) || planned_code(s.receive_codes, queue_id) != OSAL_OK ||
               !s.queues[queue_id].empty();
    };
    if (wait != 0) s.changed.wait(lock, settled);
    if (!exists(s, queue_id)) return OSAL_ERR_BAD_ID;
    if (const gint32 code = planned_code(s.receive_codes, queue_id); code != OSAL_OK) return code;
    auto& queue = s.queues[queue_id];
    if (queue.empty()) return OSAL_ERR_EMPTY;
    const std::vector<guint8>& oldest = queue.front();
    if (oldest.size() > capacity) return OSAL_ERR_TOO_BIG;
    std::memcpy(message, oldest.data(), oldest.size());
    const auto size = static_cast<gint32>(oldest.size());
    queue.pop_front();
    return size;
}

gint32 osal_process_queue_create(gint32* queue_id) {
    if (queue_id == nullptr) return OSAL_ERR_ARGUMENT;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    *queue_id = first_queue_id + s.next_queue++;
    s.own_queues.insert(*queue_id);
    return OSAL_OK;
}

gint32 osal_process_queue_delete(gint32 queue_id) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    if (s.own_queues.erase(queue_id) == 0) return OSAL_ERR_BAD_ID;
    drop_queue(s, queue_id);
    return OSAL_OK;
}

gint32 osal_process_queue_state(gint32 queue_id, OSAL_QUEUE_STATE_S* result) {
    if (result == nullptr) return OSAL_ERR_ARGUMENT;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    if (!exists(s, queue_id)) return OSAL_ERR_BAD_ID;
    *result = {};
    for (const std::vector<guint8>& message : s.queues[queue_id]) {
        ++result->messages;
        result->bytes += message.size() - sizeof(gint32);
    }
    result->limit = G_MAXUINT64;
    return OSAL_OK;
}
