// The calls in the order of a module's life.
#include "transport_module.hpp"

#include <lom/persist.h>

namespace mox::test {
namespace {

// A value that goes with its scope.
class OwnValue {
public:
    explicit OwnValue(GVariant* floating) : value_(g_variant_ref_sink(floating)) {}
    ~OwnValue() { g_variant_unref(value_); }
    OwnValue(const OwnValue&) = delete;
    OwnValue& operator=(const OwnValue&) = delete;
    GVariant* get() const { return value_; }

private:
    GVariant* value_;
};

bool frees(gpointer listing) {
    g_free(listing);
    return listing != nullptr;
}

bool frees_strings(gchar** strings) {
    g_strfreev(strings);
    return strings != nullptr;
}

OBJ_HANDLE main_object() {
    return lom_get_object_handle("Main");
}

}  // namespace

std::string transport_profile(const HostOwner& owner) {
    const std::string rights =
        R"({"modules": [{"name": "desk*", "write": ["*"], "override": ["*"], "manage": true}],)";
    return rights + board_profile(owner).substr(1);
}

int DeskModule::code_of_fault() const {
    switch (plan_.fault) {
        case TransportFault::refused:
            return MOXHOST_ERROR_FAILED;
        case TransportFault::closed:
            return MOXHOST_ERROR_LOST;
        default:
            return MOXHOST_ERROR_TIMEOUT;
    }
}

template <typename Call>
void DeskModule::host(const char* name, Kind kind, Call call) {
    const unsigned before = transport_failures();
    const bool had_failed = has_failed();
    HostError error;
    const bool is_good = call(error.out());
    const bool is_hit = transport_failures() != before;
    EXPECT_EQ(is_good, error.text().empty()) << name << ": " << error.text();
    if (kind != Kind::by_hooks && is_hit) {
        EXPECT_FALSE(is_good) << name;
        EXPECT_EQ(error.code(), code_of_fault()) << name << ": " << error.text();
    } else if (is_cut_off()) {
        EXPECT_TRUE(kind != Kind::alone || !is_good) << name;
        // The object store says only that it has no copy, or that it could not ask.
        const bool is_of_store =
            kind == Kind::by_hooks &&
            (error.code() == MOXHOST_ERROR_FAILED || error.code() == MOXHOST_ERROR_NOT_FOUND);
        EXPECT_TRUE(is_good || is_of_store || error.code() == MOXHOST_ERROR_LOST)
            << name << ": code " << error.code() << ", " << error.text();
    } else if (!is_hit && (kind == Kind::alone || !had_failed)) {
        EXPECT_TRUE(is_good) << name << ": " << error.text();
    }
}

template <typename Call>
void DeskModule::core(const char* name, Call call) {
    const gint32 status = call();
    const bool may_fail = has_failed();
    EXPECT_TRUE(status >= 0 ||
                (may_fail && (status == MOX_ERR_INTERNAL || status == MOX_ERR_OBJECT_NOT_FOUND ||
                              status == MOX_ERR_BAD_ARGUMENT || status == MOX_ERR_OVERRIDDEN ||
                              status == PER_ERROR_CFG_ITEM_NOT_INITED)))
        << name << " gave " << status;
}

// A join that failed leaves nothing: the same process joins under the same name, as soon as the
// owner has seen the end of the first connection.
void DeskModule::join_at_last() {
    EXPECT_TRUE(eventually([this] {
        const unsigned before = transport_failures();
        HostError error;
        module_.reset(
            moxhost_join(owner_.run_dir().c_str(), "desk", MODULE_INTERFACE, error.out()));
        const bool is_hit = transport_failures() != before;
        EXPECT_EQ(module_ == nullptr, !error.text().empty());
        EXPECT_TRUE(module_ != nullptr || has_failed()) << error.text();
        if (is_hit) {
            EXPECT_EQ(module_, nullptr);
            EXPECT_TRUE(error.code() == code_of_fault() || error.code() == MOXHOST_ERROR_NO_OWNER)
                << error.text();
        }
        return module_ != nullptr || plan_.from_then_on;
    }));
    // The connection that was cut off was another one.
    if (plan_.fault == TransportFault::closed) made_good_ = transport_failures();
}

void DeskModule::ask_for_lists() {
    MoxHostModule* const module = module_.get();
    host("list_objects", Kind::alone, [module](GError** error) {
        return frees_strings(moxhost_list_objects(module, "Fan", error));
    });
    host("list_properties", Kind::by_hooks, [module](GError** error) {
        return frees_strings(moxhost_list_properties(module, "Main", error));
    });
    host("listen", Kind::alone, [module](GError** error) {
        return moxhost_listen(module, "Fan", "Goal", error) != FALSE;
    });
    host("refresh", Kind::alone,
         [module](GError** error) { return moxhost_refresh(module, error) != FALSE; });
    host("events_sent", Kind::alone,
         [module](GError** error) { return moxhost_events_sent(module, error) >= 0; });
    host("pool_usage", Kind::alone, [module](GError** error) {
        return moxhost_pool_usage(module, nullptr, nullptr, error) != FALSE;
    });
    PER_MODE_E mode = PER_MODE_BUTT;
    host("persist_mode", Kind::alone, [module, &mode](GError** error) {
        return moxhost_persist_mode(module, "Main", "Goal", &mode, error) != FALSE;
    });
    EXPECT_TRUE(mode == PER_MODE_RESET || mode == PER_MODE_BUTT) << mode;
    host("list_boards", Kind::alone,
         [module](GError** error) { return frees_strings(moxhost_list_boards(module, error)); });
    host("list_routes", Kind::alone,
         [module](GError** error) { return frees(moxhost_list_routes(module, nullptr, error)); });
}

void DeskModule::ask_for_listings() {
    MoxHostModule* const module = module_.get();
    host("class_infos", Kind::alone,
         [module](GError** error) { return frees(moxhost_class_infos(module, nullptr, error)); });
    host("object_infos", Kind::alone, [module](GError** error) {
        return frees(moxhost_object_infos(module, nullptr, nullptr, error));
    });
    host("property_infos", Kind::alone, [module](GError** error) {
        MoxHostPropertyInfo* const infos = moxhost_property_infos(module, "Main", nullptr, error);
        moxhost_property_infos_free(infos);
        return infos != nullptr;
    });
    host("module_infos", Kind::alone,
         [module](GError** error) { return frees(moxhost_module_infos(module, nullptr, error)); });
    host("lock_infos", Kind::alone, [module](GError** error) {
        return frees(moxhost_lock_infos(module, TRUE, nullptr, error));
    });
    MoxHostPoolInfo info = {};
    host("pool_info", Kind::alone, [module, &info](GError** error) {
        return moxhost_pool_info(module, &info, error) != FALSE;
    });
    EXPECT_LE(info.used, info.total);
}

void DeskModule::use_boards() {
    MoxHostModule* const module = module_.get();
    gboolean is_plugged = FALSE;
    host("plug_board", Kind::alone,
         [module](GError** error) { return moxhost_plug_board(module, "spare", error) != FALSE; });
    host("board_state", Kind::alone, [module, &is_plugged](GError** error) {
        return moxhost_board_state(module, "spare", &is_plugged, nullptr, error) != FALSE;
    });
    host("list_properties", Kind::by_hooks, [module](GError** error) {
        return frees_strings(moxhost_list_properties(module, "Spare1", error));
    });
    host("set_property", Kind::by_hooks, [module](GError** error) {
        return moxhost_set_property(module, "Spare1", "Goal", g_variant_new_int32(6), error) !=
               FALSE;
    });
    gchar** unsaved = nullptr;
    host("unplug_board", Kind::by_hooks, [module, &unsaved](GError** error) {
        return moxhost_unplug_board(module, "spare", &unsaved, error) != FALSE;
    });
    g_strfreev(unsaved);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void DeskModule::write_values() {
    MoxHostModule* const module = module_.get();
    host("set_property", Kind::by_hooks, [module](GError** error) {
        return moxhost_set_property(module, "Main", "Goal", g_variant_new_int32(9), error) != FALSE;
    });
    host("set_property", Kind::by_hooks, [module](GError** error) {
        return moxhost_set_property(module, "Main", "Label",
                                    g_variant_new_string("a label longer than its room was"),
                                    error) != FALSE;
    });
    host("apply_property", Kind::alone, [module](GError** error) {
        return moxhost_apply_property(module, "Main", "Speed", g_variant_new_int32(3), error) !=
               FALSE;
    });
    core("lom_get_property_value", [] {
        GVariant* value = nullptr;
        const gint32 status =
            lom_get_property_value(lom_get_object_handle("Fan1"), "Speed", TRUE, &value, TRUE);
        EXPECT_EQ(value != nullptr, status == MOX_OK);
        if (value != nullptr) g_variant_unref(value);
        return status;
    });
}

void DeskModule::save_values() {
    for (const bool is_remote : {true, false}) {
        core("lom_save_property_value", [is_remote] {
            return lom_save_property_value(main_object(), "Goal", nullptr, PER_MODE_RESET,
                                           is_remote, !is_remote);
        });
        core("lom_get_saved_value", [is_remote] {
            GVariant* value = nullptr;
            const gint32 status =
                lom_get_saved_value(main_object(), "Goal", &value, PER_MODE_RESET, is_remote);
            EXPECT_EQ(value != nullptr, status == MOX_OK);
            if (value != nullptr) g_variant_unref(value);
            return status;
        });
    }
    core("lom_is_property_value_saved", [] {
        gboolean is_saved = FALSE;
        return lom_is_property_value_saved(main_object(), "Goal", PER_MODE_RESET, FALSE, &is_saved);
    });
    for (const bool is_static : {false, true, false}) {
        core("lom_set_property_save_type",
             [is_static] { return lom_set_property_save_type(main_object(), "Goal", is_static); });
    }
}

void DeskModule::override_values() {
    const OwnValue forced(g_variant_new_int32(77));
    core("lom_override_property_value", [&forced] {
        gboolean is_taken = FALSE;
        const unsigned before = transport_failures();
        const gint32 status = lom_override_property_value(main_object(), "Goal", forced.get(),
                                                          PROPERTY_OVERRIDE, &is_taken);
        EXPECT_TRUE(transport_failures() == before || is_taken == FALSE) << "nobody permitted it";
        return status;
    });
    core("lom_override_property_value", [] {
        return lom_override_property_value(main_object(), "Goal", nullptr, PROPERTY_CANCEL_OVERRIDE,
                                           nullptr);
    });
}

void DeskModule::operate() {
    MoxHostModule* const module = module_.get();
    host("operator_set", Kind::alone, [module](GError** error) {
        return moxhost_operator_set(module, "Main", "Speed", g_variant_new_int32(4), error) !=
               FALSE;
    });
    host("operator_override", Kind::alone, [module](GError** error) {
        return moxhost_operator_override(module, "Main", "Speed", g_variant_new_int32(5), error) !=
               FALSE;
    });
    host("operator_cancel", Kind::after, [module](GError** error) {
        return moxhost_operator_cancel(module, "Main", "Speed", error) != FALSE;
    });
    host("restore_defaults", Kind::alone,
         [module](GError** error) { return moxhost_restore_defaults(module, error) != FALSE; });
}

void DeskModule::live() {
    plan_transport(plan_);
    join_at_last();
    if (module_ == nullptr) return;
    ask_for_lists();
    ask_for_listings();
    use_boards();
    write_values();
    save_values();
    override_values();
    operate();
    module_.reset();
    EXPECT_EQ(lom_get_object_handle("Main"), 0) << "the copies went with the module";
}

}  // namespace mox::test
