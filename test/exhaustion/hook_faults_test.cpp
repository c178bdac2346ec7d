// The hooks through which a module reaches the owner, each of their calls failing in turn: what a
// lost transport looks like to the library.
//
// What holds: owner and module are played by one process, which has the table of either. A hook
// changes sides for its work, as a call to the owner does.
#include <lom.h>

#include "forked_run.hpp"
#include "library.hpp"
#include "model_sweep.hpp"
#include "pool_blocks.hpp"

namespace mox::test {
namespace {

constexpr gint32 module_id = 5;

enum class Hook { copy, modify, get, save, get_saved, check };
constexpr Hook all_hooks[] = {Hook::copy, Hook::modify,    Hook::get,
                              Hook::save, Hook::get_saved, Hook::check};

// Which call of which hook fails, and with what.
struct HookPlan {
    Hook hook = Hook::copy;
    guint n = 0;
    bool from_then_on = false;
    gint32 code = 0;
    guint calls = 0;
    guint failures = 0;

    bool fails(Hook called) {
        if (called != hook) return false;
        ++calls;
        const bool fails_now = n != 0 && (calls == n || (from_then_on && calls > n));
        if (fails_now) ++failures;
        return fails_now;
    }
};

HookPlan plan;
GHashTable* other_table = nullptr;

void change_sides(bool to_owner) {
    std::swap(g_local_object_hashtable, other_table);
    to_owner ? become_owner() : become_member();
}

// The owner's side for the length of a scope.
class AsOwner {
public:
    AsOwner() { change_sides(true); }
    ~AsOwner() { change_sides(false); }
    AsOwner(const AsOwner&) = delete;
    AsOwner& operator=(const AsOwner&) = delete;
};

OBJECT_HEAD_S* copy_hook(const gchar* object, gsize) {
    if (plan.fails(Hook::copy)) return nullptr;
    const AsOwner owner;
    guint32 size = 0;
    gpointer copy = nullptr;
    return lom_copy_object(object, &size, &copy, module_id, TRUE) == MOX_OK
               ? static_cast<OBJECT_HEAD_S*>(copy)
               : nullptr;
}

gint32 modify_hook(const gchar* object, const gchar* property, GVariant* value) {
    if (plan.fails(Hook::modify)) return plan.code;
    const AsOwner owner;
    return lom_realloc_property(object, property, g_variant_get_type_string(value),
                                static_cast<guint32>(g_variant_get_size(value)),
                                g_variant_get_data(value));
}

gint32 get_hook(const gchar*, const gchar*, gint32, gsize, gpointer out) {
    if (plan.fails(Hook::get)) return plan.code;
    const guint64 level = 1400;
    std::memcpy(out, &level, sizeof level);
    return MOX_OK;
}

gint32 save_hook(const gchar* object, const gchar* name, const gchar* type, guint32 size,
                 gconstpointer data, gboolean has_prefix, PER_MODE_E mode) {
    if (plan.fails(Hook::save)) return plan.code;
    return cfg_save_v2(object, name, type, size, data, has_prefix, mode);
}

gint32 get_saved_hook(const gchar* object, const gchar* name, CFG_READ_S* read, gboolean has_prefix,
                      PER_MODE_E mode) {
    if (plan.fails(Hook::get_saved)) return plan.code;
    return cfg_read_v2(object, name, read, has_prefix, mode);
}

gint32 check_hook(const gchar*, const gchar*) {
    return plan.fails(Hook::check) ? plan.code : gint32{MOX_OK};
}

void install_hooks() {
    lom_set_copy_func(copy_hook);
    lom_set_modify_func(modify_hook);
    lom_set_remote_get_property_func(get_hook);
    lom_set_remote_save_property_func(save_hook);
    lom_set_remote_get_saved_value_func(get_saved_hook);
    lom_set_override_check_func(check_hook);
    lom_set_bitmap_id(module_id);
}

// A call gives 0 or more, or the hook's code, or one that tells that the object was not to be had.
void gives(const char* call, gint32 code, gint32 also = 0) {
    const bool is_failure = plan.n != 0 && (code == plan.code || code == MOX_ERR_OBJECT_NOT_FOUND ||
                                            code == MOX_ERR_BAD_ARGUMENT || code == also);
    EXPECT_TRUE(code >= 0 || is_failure) << call << " gave " << code;
}

void read_live(OBJ_HANDLE fan) {
    GVariant* value = nullptr;
    gives("lom_get_property_value", lom_get_property_value(fan, "Live", TRUE, &value, TRUE));
    if (value != nullptr) g_variant_unref(value);
    guchar bytes[8] = {};
    gives("lom_get_property_value_v2",
          lom_get_property_value_v2(fan, "Live", TRUE, sizeof bytes, bytes, TRUE));
    TLV_S package = {};
    gives("lom_get_property_data", lom_get_property_data(fan, "Live", TRUE, &package, TRUE));
    g_free(package.data);
}

bool is_overridden(OBJ_HANDLE fan) {
    const OBJECT_HEAD_S* const record = record_of(lom_handle_to_name(fan));
    return record != nullptr && property_of(record->object_name, "Label").state.bit.override != 0;
}

std::string stored_text(OBJ_HANDLE fan) {
    return stored_value(lom_handle_to_name(fan), "Label");
}

void cancel_override(OBJ_HANDLE fan) {
    const bool was_overridden = is_overridden(fan);
    const gint32 code =
        lom_override_property_value(fan, "Label", nullptr, PROPERTY_CANCEL_OVERRIDE, nullptr);
    gives("lom_override_property_value", code);
    EXPECT_EQ(is_overridden(fan), code != MOX_OK && was_overridden);
}

// What is refused changes nothing, and nobody is told.
void override_with_longer(OBJ_HANDLE fan, std::size_t length) {
    const std::string before = stored_text(fan);
    const bool was_overridden = is_overridden(fan);
    const gsize sent = fake::osal::send_calls();
    gboolean is_taken = FALSE;
    const Value longer = owned(g_variant_new_string(std::string(length, 'y').c_str()));
    const gint32 code =
        lom_override_property_value(fan, "Label", longer.get(), PROPERTY_OVERRIDE, &is_taken);
    gives("lom_override_property_value", code);
    if (code == MOX_OK) {
        EXPECT_TRUE(is_overridden(fan));
        EXPECT_GT(fake::osal::send_calls(), sent);
        return;
    }
    EXPECT_EQ(is_overridden(fan), was_overridden);
    EXPECT_EQ(fake::osal::send_calls(), sent);
    if (plan.hook == Hook::check) {
        EXPECT_FALSE(is_taken);
        EXPECT_EQ(stored_text(fan), before);
    }
}

// Values that outgrow their room, each longer than the one before; what is stored is the new text
// or the old one.
void write_longer(OBJ_HANDLE fan, std::size_t length) {
    cancel_override(fan);
    GVariant* before = nullptr;
    lom_get_property_value(fan, "Label", FALSE, &before, FALSE);
    const Value text = owned(g_variant_new_string(std::string(length, 'x').c_str()));
    const gint32 code = lom_set_property_value(fan, "Label", text.get(), PER_MODE_NOSUPPORT, FALSE);
    gives("lom_set_property_value", code, is_overridden(fan) ? gint32{MOX_ERR_OVERRIDDEN} : 0);
    GVariant* after = nullptr;
    gives("lom_get_property_value", lom_get_property_value(fan, "Label", FALSE, &after, FALSE));
    if (before != nullptr && after != nullptr) {
        EXPECT_TRUE(g_variant_equal(after, code == MOX_OK ? text.get() : before)) << printed(after);
    }
    if (before != nullptr) g_variant_unref(before);
    if (after != nullptr) g_variant_unref(after);
    override_with_longer(fan, length + 20);
    cancel_override(fan);
}

// The owner's store answers through the hook: its codes are handed on as they are, and nothing is
// told to be saved that is not.
void save_remotely(OBJ_HANDLE fan) {
    const Value speed = owned(g_variant_new_uint32(7));
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_RESET}) {
        guint failures = plan.failures;
        gint32 code = lom_save_property_value(fan, "Speed", speed.get(), mode, TRUE, FALSE);
        gives("lom_save_property_value", code);
        EXPECT_TRUE(plan.failures == failures || code == plan.code) << code;
        failures = plan.failures;
        GVariant* saved = nullptr;
        code = lom_get_saved_value(fan, "Speed", &saved, mode, TRUE);
        gives("lom_get_saved_value", code, PER_ERROR_CFG_ITEM_NOT_INITED);
        EXPECT_TRUE(plan.failures == failures || code == plan.code) << code;
        EXPECT_EQ(saved != nullptr, code >= 0);
        if (saved != nullptr) g_variant_unref(saved);
    }
}

// A record that came by another way than the copy hook's caller.
void publish_record(const char* name) {
    OBJECT_HEAD_S* const record = copy_hook(name, std::strlen(name));
    const OBJ_HANDLE handle = lom_create_object(sizeof *record, record);
    EXPECT_EQ(handle, record == nullptr ? 0 : lom_name_to_handle(name));
    g_free(record);
}

void live_as_module() {
    for (const char* const name : {"Fan1", "Fan2"}) {
        const OBJ_HANDLE fan = lom_get_object_handle(name);
        EXPECT_TRUE(fan != 0 || plan.n != 0);
        read_live(lom_name_to_handle(name));
        write_longer(lom_name_to_handle(name), 30);
        save_remotely(lom_name_to_handle(name));
        lom_delete_object(fan);
        gives("lom_get_object_handle", lom_get_object_handle(name));
        publish_record(name);
        write_longer(lom_name_to_handle(name), 80);
    }
}

guint live_through(Hook hook, gint32 code, guint n, bool from_then_on) {
    const Library library;
    for (const char* const name : {"Fan1", "Fan2"}) {
        add_object({.name = name,
                    .properties = {number<guint32>("Speed", "u", 1200), text("Label", "left"),
                                   number<guint32>("Live", "u", 0, "rw", "Tacho")}});
    }
    listen("Fan", "Label", 7);
    become_member();
    change_sides(false);
    install_hooks();
    plan = {hook, n, from_then_on, code, 0, 0};
    live_as_module();
    const guint calls = plan.calls;
    check_model();
    plan = {};
    live_as_module();
    check_model();
    Library::expect_no_forgotten_reference();
    lom_detach_objects();
    change_sides(true);
    forget_hooks();
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    for (const OBJECT_HEAD_S* const record : all_records()) {
        for (gsize word = 0; word < LOM_REF_BITMAP_WORDS; ++word) {
            EXPECT_EQ(record->ref_bitmap[word], 0U) << "copies of " << record->object_name;
        }
    }
    check_model();
    check_pool(0);
    become_member();
    change_sides(false);
    forget_objects();
    change_sides(true);
    return calls;
}

class FailingHook : public ::testing::TestWithParam<Hook> {};

void expect_survived(Hook hook, gint32 code) {
    SharedCount calls;
    const ForkedRun whole = run_forked([&] { calls.set(live_through(hook, code, 0, false)); });
    ASSERT_TRUE(whole.is_good) << whole.text;
    ASSERT_GE(calls.get(), 4U);
    std::printf("%u calls, each made to fail alone and with all later ones\n", calls.get());
    for (const bool from_then_on : {false, true}) {
        for (guint n = 1; n <= calls.get(); ++n) {
            const ForkedRun run = run_forked([&] { live_through(hook, code, n, from_then_on); });
            ASSERT_TRUE(run.is_good) << "call " << n << " of " << calls.get() << ":\n" << run.text;
        }
    }
}

TEST_P(FailingHook, LeavesAModuleWithCodesAndTheOwnerWithNothing) {
    expect_survived(GetParam(), GetParam() == Hook::save || GetParam() == Hook::get_saved
                                    ? gint32{PER_ERROR_CFG_INIT_FAIL}
                                : GetParam() == Hook::check ? gint32{MOX_ERR_NOT_PERMITTED}
                                                            : gint32{MOX_ERR_INTERNAL});
}

TEST(StoreOfTheOwner, HasEveryCodeHandedOnToAModule) {
    for (gint32 code = PER_ERROR_PARA_0_INVALID; code <= PER_ERROR_CLEAR_CFG_FLAG; ++code) {
        SCOPED_TRACE(code);
        expect_survived(Hook::save, code);
        expect_survived(Hook::get_saved, code);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FailingHook, ::testing::ValuesIn(all_hooks));

}  // namespace
}  // namespace mox::test
