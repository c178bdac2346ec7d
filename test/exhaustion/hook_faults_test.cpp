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

enum class Hook { copy, modify, get, save, get_saved };
constexpr Hook all_hooks[] = {Hook::copy, Hook::modify, Hook::get, Hook::save, Hook::get_saved};

// Which call of which hook fails, and with what.
struct HookPlan {
    Hook hook = Hook::copy;
    guint n = 0;
    bool from_then_on = false;
    gint32 code = 0;
    guint calls = 0;

    bool fails(Hook called) {
        if (called != hook) return false;
        ++calls;
        return n != 0 && (calls == n || (from_then_on && calls > n));
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

void install_hooks() {
    lom_set_copy_func(copy_hook);
    lom_set_modify_func(modify_hook);
    lom_set_remote_get_property_func(get_hook);
    lom_set_remote_save_property_func(save_hook);
    lom_set_remote_get_saved_value_func(get_saved_hook);
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

// Values that outgrow their room, each longer than the one before; what is stored is the new text
// or the old one.
void write_longer(OBJ_HANDLE fan, std::size_t length) {
    GVariant* before = nullptr;
    lom_get_property_value(fan, "Label", FALSE, &before, FALSE);
    const Value text = owned(g_variant_new_string(std::string(length, 'x').c_str()));
    const gint32 code = lom_set_property_value(fan, "Label", text.get(), PER_MODE_NOSUPPORT, FALSE);
    gives("lom_set_property_value", code);
    GVariant* after = nullptr;
    gives("lom_get_property_value", lom_get_property_value(fan, "Label", FALSE, &after, FALSE));
    if (before != nullptr && after != nullptr) {
        EXPECT_TRUE(g_variant_equal(after, code == MOX_OK ? text.get() : before)) << printed(after);
    }
    if (before != nullptr) g_variant_unref(before);
    if (after != nullptr) g_variant_unref(after);
    const Value longer = owned(g_variant_new_string(std::string(length + 20, 'y').c_str()));
    gives("lom_override_property_value",
          lom_override_property_value(fan, "Label", longer.get(), PROPERTY_OVERRIDE, nullptr));
    gives("lom_override_property_value",
          lom_override_property_value(fan, "Label", nullptr, PROPERTY_CANCEL_OVERRIDE, nullptr));
}

void save_remotely(OBJ_HANDLE fan) {
    const Value speed = owned(g_variant_new_uint32(7));
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_RESET}) {
        gives("lom_save_property_value",
              lom_save_property_value(fan, "Speed", speed.get(), mode, TRUE, FALSE));
        GVariant* saved = nullptr;
        const gint32 code = lom_get_saved_value(fan, "Speed", &saved, mode, TRUE);
        gives("lom_get_saved_value", code, PER_ERROR_CFG_ITEM_NOT_INITED);
        EXPECT_EQ(saved != nullptr, code >= 0);
        if (saved != nullptr) g_variant_unref(saved);
    }
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
    become_member();
    change_sides(false);
    install_hooks();
    plan = {hook, n, from_then_on, code, 0};
    live_as_module();
    const guint calls = plan.calls;
    check_model();
    plan = {};
    live_as_module();
    check_model();
    Library::expect_no_forgotten_reference();
    forget_objects();
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
    return calls;
}

class FailingHook : public ::testing::TestWithParam<Hook> {};

TEST_P(FailingHook, LeavesAModuleWithCodesAndTheOwnerWithNothing) {
    const gint32 code = GetParam() == Hook::save || GetParam() == Hook::get_saved
                            ? gint32{PER_ERROR_CFG_INIT_FAIL}
                            : gint32{MOX_ERR_INTERNAL};
    SharedCount calls;
    const ForkedRun whole =
        run_forked([&] { calls.set(live_through(GetParam(), code, 0, false)); });
    ASSERT_TRUE(whole.is_good) << whole.text;
    ASSERT_GE(calls.get(), 4U);
    for (const bool from_then_on : {false, true}) {
        for (guint n = 1; n <= calls.get(); ++n) {
            const ForkedRun run =
                run_forked([&] { live_through(GetParam(), code, n, from_then_on); });
            ASSERT_TRUE(run.is_good) << "call " << n << " of " << calls.get() << ":\n" << run.text;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FailingHook, ::testing::ValuesIn(all_hooks));

}  // namespace
}  // namespace mox::test
