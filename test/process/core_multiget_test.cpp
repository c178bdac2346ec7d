// A reader of several properties at once beside a writer in another process, which changes them
// together while it holds the object's semaphore: what is read is of one moment.
#include <lom.h>
#include <sys/mman.h>

#include <atomic>
#include <cstring>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "core_model.hpp"

namespace mox::test {
namespace {

using SharedSet = ProcessTest;

constexpr int kReads = 20000;
constexpr gsize kLabelLength = 40;

// A flag and a counter that both processes see.
struct Progress {
    std::atomic<guint32> writes;
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

// The stored bytes of a property, as every process finds them in the pool.
gpointer stored_bytes(const OBJECT_HEAD_S& record, const std::string& property_name) {
    for (SERIALISED_PROPERTY_S* at = record.property_entry; at != nullptr; at = at->next_ptr) {
        if (property_name == at->name) return at->data;
    }
    throw std::runtime_error("no property " + property_name);
}

// The letter that goes with a number.
char letter_of(guint32 number) {
    return static_cast<char>('A' + number % 26);
}

// Gives numbers and label their next values, again and again, under the object's semaphore.
void write_until_over(OBJ_HANDLE object, const OBJECT_HEAD_S& record,
                      const SharedProgress& progress) {
    gpointer const first = stored_bytes(record, "First");
    gpointer const label = stored_bytes(record, "Label");
    gpointer const last = stored_bytes(record, "Last");
    for (guint32 number = 1; !progress->is_over.load(); ++number) {
        ASSERT_EQ(lom_lock_object(object), MOX_OK);
        std::memcpy(first, &number, sizeof(number));
        std::this_thread::yield();  // so that a reader who does not wait comes in between
        std::memset(label, letter_of(number), kLabelLength);
        std::this_thread::yield();
        std::memcpy(last, &number, sizeof(number));
        ASSERT_EQ(lom_unlock_object(object), MOX_OK);
        progress->writes.store(number);
    }
}

struct Values {
    guint32 first = 0;
    std::string label;
    guint32 last = 0;
};

// One multiple read; throws when it fails.
Values read_set(OBJ_HANDLE object) {
    gchar first[] = "First";
    gchar label[] = "Label";
    gchar last[] = "Last";
    GSList third = {last, nullptr};
    GSList second = {label, &third};
    GSList names = {first, &second};
    GSList* list = nullptr;
    const gint32 code = lom_multiget_property_value(object, &names, &list);
    if (code != MOX_OK || g_slist_length(list) != 3) {
        throw std::runtime_error("the multiple read gave code " + std::to_string(code));
    }
    const auto value = [&](guint at) { return static_cast<GVariant*>(g_slist_nth_data(list, at)); };
    Values values{g_variant_get_uint32(value(0)), g_variant_get_string(value(1), nullptr),
                  g_variant_get_uint32(value(2))};
    g_slist_free_full(list, [](gpointer each) { g_variant_unref(static_cast<GVariant*>(each)); });
    return values;
}

bool is_of_one_moment(const Values& values) {
    return values.first == values.last &&
           values.label == std::string(kLabelLength, letter_of(values.first));
}

TEST_F(SharedSet, IsNeverAMixOfOldAndNewValues) {
    const SharedProgress progress;
    Role writer{"writer", [&progress](Channel& test) {
                    const OBJECT_HEAD_S record = receive_record(test);
                    const OBJ_HANDLE object = lom_create_object(sizeof(record), &record);
                    test.tell('r');
                    write_until_over(object, record, progress);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1",
                {number("First", 0), text("Label", std::string(kLabelLength, letter_of(0))),
                 number("Last", 0)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    send_object(writer, "Fan1", kMemberId, FALSE);
    writer.hear<char>();
    std::set<guint32> seen;
    int mixed = 0;
    for (int count = 0; count < kReads; ++count) {
        const Values values = read_set(fan);
        seen.insert(values.first);
        if (!is_of_one_moment(values)) ++mixed;
        if (count % 100 == 0) std::this_thread::yield();
    }
    const guint32 writes = progress->writes.load();
    progress->is_over.store(true);
    writer.finish();
    EXPECT_EQ(mixed, 0);
    EXPECT_GT(writes, 1U);
    EXPECT_GE(seen.size(), 2U) << "the reader never saw the writer at work";
    const Values at_rest = read_set(fan);
    EXPECT_TRUE(is_of_one_moment(at_rest));
    EXPECT_GE(at_rest.first, *seen.rbegin());
}

}  // namespace
}  // namespace mox::test
