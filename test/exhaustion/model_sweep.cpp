// The sweep: what each child does, and what is looked at.
#include "model_sweep.hpp"

#include <lom.h>

#include "forked_run.hpp"
#include "library.hpp"
#include "pool_blocks.hpp"
#include "whole_model.hpp"

namespace mox::test {
namespace {

constexpr gsize bitmap_bytes = LOM_REF_BITMAP_WORDS * sizeof(guint32);

void check_property(OBJ_HANDLE handle, const SERIALISED_PROPERTY_S& property) {
    gchar type[PUB_TYPE_LENGTH] = {};
    EXPECT_EQ(lom_get_property_type(handle, property.name, type, PUB_TYPE_LENGTH), MOX_OK);
    TLV_S package = {};
    const gint32 code = lom_get_property_memory_data(handle, property.name, &package);
    EXPECT_TRUE(code == MOX_OK || code == MOX_ERR_INTERNAL || code == MOX_ERR_SEMAPHORE) << code;
    if (property.data == nullptr) {
        EXPECT_EQ(property.capacity, 0U) << property.name;
    } else {
        EXPECT_LE(property.size, property.capacity) << property.name;
    }
    g_free(package.data);
}

void check_object(const gchar* class_name, OBJ_HANDLE handle, gpointer count) {
    ++*static_cast<gsize*>(count);
    const gchar* const name = lom_get_object_name(handle);
    ASSERT_NE(name, nullptr);
    ASSERT_NE(class_name, nullptr) << name;
    EXPECT_EQ(lom_get_object_handle(name), handle) << name;
    gchar found[PUB_NAME_LENGTH] = "";
    EXPECT_EQ(lom_get_class_name(handle, found, PUB_NAME_LENGTH), MOX_OK) << name;
    EXPECT_STREQ(found, class_name) << name;
    const OBJECT_HEAD_S* const record = record_of(name);
    ASSERT_NE(record, nullptr) << name;
    gsize properties = 0;
    for (const SERIALISED_PROPERTY_S* property = record->property_entry; property != nullptr;
         property = property->next_ptr) {
        ++properties;
        check_property(handle, *property);
    }
    EXPECT_EQ(properties, record->property_count) << name;
}

// Every object that a class counts is one of the table's, of that class.
void check_class(gpointer key, gpointer value, gpointer) {
    const auto node = static_cast<CLS_HANDLE>(value);
    EXPECT_EQ(cls_get_class(static_cast<const gchar*>(key)), node);
    GSList* objects = nullptr;
    const guint count = cls_get_object_count(node);
    EXPECT_EQ(cls_get_object_list(node, &objects),
              count == 0 ? gint32{MOX_ERR_OBJECT_NOT_FOUND} : gint32{MOX_OK});
    EXPECT_EQ(g_slist_length(objects), count);
    for (const GSList* item = objects; item != nullptr; item = item->next) {
        const OBJ_HANDLE handle = GPOINTER_TO_INT(item->data);
        EXPECT_EQ(lom_get_object_handle(lom_handle_to_name(handle)), handle)
            << lom_handle_to_name(handle) << " of class " << static_cast<const gchar*>(key);
    }
    g_slist_free(objects);
}

void check_dumps() {
    MODULE_REG_INFO_S module = {};
    const std::string text = stream_text_of([&module](FILE* stream) {
        lom_list_objects(stream);
        lom_list_garbage(stream);
        cls_debug_print(stream);
        shm_dump(stream);
        lom_dump_reginfo(stream, &module);
        cls_class_foreach(
            [](gpointer, gpointer node, gpointer out) { dump_traverse_class(node, out); }, stream);
    });
    EXPECT_NE(text.find("share memory"), std::string::npos);
}

// One child's work; returns how many calls of the kind the first model took.
gsize live_through(const Fault& fault, guint n, bool from_then_on) {
    const Library library;
    std::optional<Codes> passed_on;
    if (n != 0) passed_on = fault.codes;
    WholeModel first('A', 0, passed_on);
    const gsize before = fault.calls();
    fault.plan(n, from_then_on);
    first.build();
    first.use();
    first.replug();
    const gsize calls = fault.calls() - before;
    fault.plan(0, false);
    EXPECT_EQ(fake::osal::held(), 0U);
    Library::expect_no_forgotten_reference();
    check_model();
    check_pool(fake::space::failed_allocations());
    WholeModel second('B', WholeModel::classes, {});
    second.build();
    second.use();
    second.replug();
    check_model();
    first.end();
    second.end();
    EXPECT_TRUE(all_records().empty());
    check_pool(fake::space::failed_allocations());
    EXPECT_EQ(fake::osal::bad_sem_frees(), 0U);
    return calls;
}

// Neighbours share a child, which starts each of them afresh: what a process costs is paid once. If
// one of them fails, each has a child of its own to tell which it was.
void sweep(const Fault& fault, guint calls, bool from_then_on) {
    constexpr guint neighbours = 16;
    for (guint first = 1; first <= calls && !::testing::Test::HasFailure(); first += neighbours) {
        const guint last = std::min(first + neighbours - 1, calls);
        const ForkedRun together = run_forked([&] {
            for (guint n = first; n <= last; ++n) live_through(fault, n, from_then_on);
        });
        for (guint n = first; n <= last && !together.is_good; ++n) {
            const ForkedRun alone = run_forked([&] { live_through(fault, n, from_then_on); });
            EXPECT_TRUE(alone.is_good) << "call " << n << " of " << calls << " failed"
                                       << (from_then_on ? " with all later ones" : "") << ":\n"
                                       << alone.text;
        }
        EXPECT_TRUE(together.is_good) << "calls " << first << " to " << last << " one by one:\n"
                                      << together.text;
    }
}

}  // namespace

void check_model() {
    gsize objects = 0;
    lom_foreach_object(check_object, &objects);
    EXPECT_EQ(objects, all_records().size());
    cls_class_foreach(check_class, nullptr);
    check_dumps();
}

void check_pool(gsize failed_allocations) {
    const PoolBlocks blocks = reachable_pool_blocks();
    EXPECT_EQ(blocks.dangling, 0U);
    EXPECT_LE(blocks.unreachable, failed_allocations);
    EXPECT_EQ(blocks.unreachable_bytes, blocks.unreachable * bitmap_bytes);
}

void expect_model_survives(const Fault& fault) {
    SharedCount calls;
    const ForkedRun whole =
        run_forked([&] { calls.set(static_cast<unsigned>(live_through(fault, 0, false))); });
    ASSERT_TRUE(whole.is_good) << "without a fault:\n" << whole.text;
    ASSERT_GE(calls.get(), fault.least_calls);
    ::testing::Test::RecordProperty("calls", static_cast<int>(calls.get()));
    std::printf("%u calls, each made to fail alone%s\n", calls.get(),
                fault.also_from_then_on ? " and with all later ones" : "");
    sweep(fault, calls.get(), false);
    if (fault.also_from_then_on) sweep(fault, calls.get(), true);
}

}  // namespace mox::test
