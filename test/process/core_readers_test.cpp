// Four processes that read one value while its owner writes it: what they read was written whole.
#include <lom.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "core_model.hpp"

namespace mox::test {
namespace {

using ConcurrentReaders = ProcessTest;
using Clock = std::chrono::steady_clock;

constexpr gsize kReaders = 4;
constexpr int kWrites = 10000;
// The owner waits for a read by every reader as often as this, so that all of them read throughout.
constexpr int kWritesBetweenWaits = 500;
constexpr gsize kLength = 64;

// What the writer and the readers tell each other without a wait.
struct Progress {
    std::array<std::atomic<guint32>, kReaders> reads;
    std::atomic<bool> is_over;
};

class SharedProgress {
public:
    SharedProgress()
        : memory_{mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS, -1, 0)} {
        if (memory_ == MAP_FAILED) throw std::runtime_error("no shared memory for the progress");
        progress_ = new (memory_) Progress{};
    }
    ~SharedProgress() { munmap(memory_, sizeof(Progress)); }
    SharedProgress(const SharedProgress&) = delete;
    SharedProgress& operator=(const SharedProgress&) = delete;

    Progress* operator->() const { return progress_; }

private:
    void* memory_;
    Progress* progress_;
};

std::string value_of_write(int number) {
    return std::string(kLength, static_cast<char>('A' + number % 50));
}

// The value's bytes when they are one that was written whole: 64 equal characters and the end.
// Otherwise fails and returns an empty string.
std::string read_whole_value(OBJ_HANDLE object) {
    TLV_S value = {};
    const gint32 code = lom_get_property_data(object, "Label", FALSE, &value, FALSE);
    const std::unique_ptr<void, decltype(&g_free)> owned{value.data, g_free};
    const auto* const bytes = static_cast<const char*>(value.data);
    if (code != MOX_OK || value.size != kLength + 1) {
        ADD_FAILURE() << "code " << code << ", " << value.size << " bytes";
        return {};
    }
    std::string text{bytes, kLength};
    if (bytes[kLength] != '\0' || text != std::string(kLength, text[0])) {
        ADD_FAILURE() << "a value that was never written: " << text;
        return {};
    }
    return text;
}

void read_until_over(OBJ_HANDLE object, const SharedProgress& progress, gsize reader) {
    while (!progress->is_over.load()) {
        if (read_whole_value(object).empty()) return;
        ++progress->reads[reader];
    }
    EXPECT_EQ(read_whole_value(object), value_of_write(kWrites));
}

// Waits until every reader has read once more.
void wait_for_readers(const SharedProgress& progress) {
    std::array<guint32, kReaders> before = {};
    for (gsize i = 0; i < kReaders; ++i) before[i] = progress->reads[i].load();
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds{kWordSeconds};
    for (gsize i = 0; i < kReaders; ++i) {
        while (progress->reads[i].load() == before[i]) {
            if (Clock::now() > deadline) {
                throw NoWord("reader " + std::to_string(i + 1) + " does not read any more");
            }
            std::this_thread::yield();
        }
    }
}

TEST_F(ConcurrentReaders, GetOnlyValuesThatTheOwnerWroteWhole) {
    const SharedProgress progress;
    std::vector<std::unique_ptr<Role>> readers;
    for (gsize i = 0; i < kReaders; ++i) {
        readers.push_back(std::make_unique<Role>("reader " + std::to_string(i + 1),
                                                 [&progress, i](Channel& test) {
                                                     const OBJ_HANDLE fan = receive_object(test);
                                                     test.tell('r');
                                                     read_until_over(fan, progress, i);
                                                 }));
    }
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", value_of_write(0))});
    for (const auto& reader : readers) {
        send_object(*reader, "Fan1", kMemberId, FALSE);
        reader->hear<char>();
    }
    for (int number = 1; number <= kWrites; ++number) {
        const std::string value = value_of_write(number);
        ASSERT_EQ(lom_realloc_property("Fan1", "Label", "s", kLength + 1, value.c_str()), MOX_OK);
        if (number % kWritesBetweenWaits == 0) wait_for_readers(progress);
    }
    progress->is_over.store(true);
    for (const auto& reader : readers) reader->finish();
}

}  // namespace
}  // namespace mox::test
