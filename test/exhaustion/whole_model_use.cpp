// Use: reads, writes, overrides, saves, hardware, copies, aliases and messages; boards that come
// and go; and the end.
#include <expression.h>
#include <lom.h>
#include <moxfake/driver.h>
#include <moxfake/persist.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {

const Codes lookup_codes = {MOX_ERR_BAD_ARGUMENT, MOX_ERR_OBJECT_NOT_FOUND,
                            MOX_ERR_PROPERTY_NOT_FOUND, MOX_ERR_INTERNAL};
const Codes read_codes = {MOX_ERR_BAD_ARGUMENT,       MOX_ERR_OBJECT_NOT_FOUND,
                          MOX_ERR_PROPERTY_NOT_FOUND, MOX_ERR_INTERNAL,
                          MOX_ERR_SEMAPHORE,          MOX_ERR_TYPE_NOT_SUPPORTED};
const Codes write_codes = {
    MOX_ERR_BAD_ARGUMENT,       MOX_ERR_OBJECT_NOT_FOUND,   MOX_ERR_NOT_PERMITTED,
    MOX_ERR_PROPERTY_NOT_FOUND, MOX_ERR_INTERNAL,           MOX_ERR_OVERRIDDEN,
    MOX_ERR_TYPE_MISMATCH,      MOX_ERR_TYPE_NOT_SUPPORTED, MOX_ERR_SEMAPHORE};
const Codes save_codes = {MOX_ERR_BAD_ARGUMENT,  MOX_ERR_OBJECT_NOT_FOUND,
                          MOX_ERR_NOT_PERMITTED, MOX_ERR_PROPERTY_NOT_FOUND,
                          MOX_ERR_INTERNAL,      MOX_ERR_OVERRIDDEN,
                          MOX_ERR_SEMAPHORE,     PER_ERROR_CFG_ITEM_NOT_INITED};
// The driver library's code comes through where the accessor could not be registered.
const Codes hardware_codes = {
    MOX_ERR_BAD_ARGUMENT, MOX_ERR_OBJECT_NOT_FOUND, MOX_ERR_PROPERTY_NOT_FOUND, MOX_ERR_INTERNAL,
    MOX_ERR_NO_ACCESSOR,  MOX_ERR_TYPE_MISMATCH,    MOX_ERR_SEMAPHORE};
const Codes message_codes = {MOX_ERR_BAD_ARGUMENT, MOX_ERR_OBJECT_NOT_FOUND, MOX_ERR_INTERNAL};

namespace {

void unref_value(gpointer value) {
    g_variant_unref(static_cast<GVariant*>(value));
}

void ignore_property(OBJ_HANDLE, const gchar*, GVariant*, gpointer) {}

// What the owner of the pool does for a value that outgrew its room.
gint32 enlarge(const gchar* object, const gchar* property, GVariant* value) {
    return lom_realloc_property(object, property, g_variant_get_type_string(value),
                                static_cast<guint32>(g_variant_get_size(value)),
                                g_variant_get_data(value));
}

}  // namespace

void WholeModel::use() {
    lom_set_modify_func(enlarge);
    read_everything();
    read_in_other_ways();
    write_values();
    override_values();
    save_values();
    use_hardware();
    share_objects();
    use_aliases();
    send_messages();
    count_lost_messages();
    use_classes();
    use_new_objects();
    use_collection();
    use_registry();
    listen_to_changes();
    use_pool();
    use_segment();
    convert_values();
    read_everything();
    lom_set_modify_func(nullptr);
}

void WholeModel::read_everything() const {
    const std::pair<const char*, std::vector<const char*>> all[] = {
        {"Fan1", {"Speed", "Label", "Names", "Live", "d:Level"}},
        {"Fan2", {"Speed", "Label"}},
        {"Sum", {"X", "Value", "Formula"}},
        {"View", {"Twin"}},
        {"Other", {"Speed", "Label"}}};
    for (const auto& [object, properties] : all) {
        for (const char* const property : properties) {
            for (const bool is_live : {false, true}) {
                GVariant* value = nullptr;
                const gint32 code = lom_get_property_value(handle_of(named(object)), property,
                                                           is_live ? TRUE : FALSE, &value, FALSE);
                gives("lom_get_property_value", code, read_codes);
                EXPECT_EQ(value != nullptr, code == MOX_OK);
                if (value != nullptr) {
                    EXPECT_TRUE(g_variant_is_normal_form(value)) << object << "." << property;
                    g_variant_unref(value);
                }
            }
        }
    }
}

void WholeModel::read_in_other_ways() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    guchar buffer[64] = {};
    gchar type[PUB_TYPE_LENGTH] = {};
    gives("lom_get_property_value_v2",
          lom_get_property_value_v2(fan, "Label", TRUE, sizeof buffer, buffer, FALSE), read_codes);
    TLV_S package = {};
    gives("lom_get_property_data", lom_get_property_data(fan, "Live", TRUE, &package, FALSE),
          read_codes);
    g_free(package.data);
    package = {};
    gives("lom_get_property_memory_data", lom_get_property_memory_data(fan, "Names", &package),
          read_codes);
    g_free(package.data);
    gives("lom_get_property_type", lom_get_property_type(fan, "Names", type, PUB_TYPE_LENGTH),
          lookup_codes);
    gives("lom_foreach_property", lom_foreach_property(fan, ignore_property, nullptr),
          {MOX_ERR_BAD_ARGUMENT, MOX_ERR_OBJECT_NOT_FOUND});
    GSList* names = nullptr;
    for (const char* const name : {"Speed", "Label", "Live", "Names"}) {
        names = g_slist_append(names, const_cast<char*>(name));
    }
    GSList* values = nullptr;
    Codes codes = read_codes;
    codes.insert(MOX_ERR_NO_ACCESSOR);
    const gint32 code = lom_multiget_property_value(fan, names, &values);
    gives("lom_multiget_property_value", code, codes);
    EXPECT_EQ(g_slist_length(values), code == MOX_OK ? 4U : 0U);
    g_slist_free_full(values, unref_value);
    g_slist_free(names);
    lom_property_batch_read();
}

void WholeModel::write_value(const std::string& object, const char* property, GVariant* floating,
                             PER_MODE_E mode) const {
    const Value value = owned(floating);
    const std::string wanted = printed(value.get());
    const std::string before = stored_value(object, property);
    const std::size_t asked = fake::persist_calls().size();
    const gint32 code =
        lom_set_property_value(handle_of(object), property, value.get(), mode, FALSE);
    hands_on("lom_set_property_value", code, asked);
    Codes codes = write_codes;
    if (mode != PER_MODE_NOSUPPORT) codes.insert(save_codes.begin(), save_codes.end());
    gives("lom_set_property_value", code, codes);
    const std::string after = stored_value(object, property);
    const bool is_unreadable = !must_succeed() && after.rfind("code ", 0) == 0;
    if (is_unreadable) return;
    if (code >= 0) {
        EXPECT_EQ(after, wanted) << object << "." << property;
    } else {
        EXPECT_TRUE(after == before || after == wanted)
            << object << "." << property << " was " << before << ", is " << after;
    }
}

void WholeModel::write_values() const {
    const std::string fan = named("Fan1");
    write_value(fan, "Speed", g_variant_new_uint32(1500));
    write_value(fan, "Label", g_variant_new_string("rear"));
    write_value(fan, "Label", g_variant_new_string("a much longer text than there was room for"));
    write_value(fan, "Label", g_variant_new_string("short"), PER_MODE_PERMANENT);
    write_value(fan, "Names", texts_value({"one", "two", "three", "four"}), PER_MODE_RESET);
    write_value(named("Fan2"), "Label", g_variant_new_string("another text that is longer"),
                PER_MODE_POWER_OFF);
    const Value speed = owned(g_variant_new_uint32(1600));
    gives("lom_set_property_value",
          lom_set_property_value(handle_of(named("View")), "Twin", speed.get(), PER_MODE_NOSUPPORT,
                                 FALSE),
          write_codes);
    gives("lom_apply_property_value",
          lom_apply_property_value(handle_of(fan), "Live", speed.get(), PER_MODE_NOSUPPORT,
                                   APPLY_AUTO_MODE, FALSE),
          [] {
              Codes codes = write_codes;
              codes.insert(hardware_codes.begin(), hardware_codes.end());
              return codes;
          }());
}

void WholeModel::override_values() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    gboolean is_taken = FALSE;
    const Value label =
        owned(g_variant_new_string("a text that was forced upon it, long as it is"));
    gives("lom_override_property_value",
          lom_override_property_value(fan, "Label", label.get(), PROPERTY_OVERRIDE, &is_taken),
          write_codes);
    const Value speed = owned(g_variant_new_uint32(1));
    gives("lom_override_property_value",
          lom_override_property_value(handle_of(named("View")), "Twin", speed.get(),
                                      PROPERTY_OVERRIDE, &is_taken),
          write_codes);
    for (const char* const property : {"Label", "Speed"}) {
        gives(
            "lom_override_property_value",
            lom_override_property_value(fan, property, nullptr, PROPERTY_CANCEL_OVERRIDE, nullptr),
            write_codes);
    }
    gives("lom_override_property_value",
          lom_override_property_value(handle_of(named("View")), "Twin", nullptr,
                                      PROPERTY_CANCEL_OVERRIDE, nullptr),
          write_codes);
}

void WholeModel::use_hardware() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    gchar name[PUB_NAME_LENGTH] = "";
    guint8 bytes[8] = {};
    GVariant* value = nullptr;
    gives("lom_get_property_accessor",
          lom_get_property_accessor(fan, "Live", name, PUB_NAME_LENGTH), hardware_codes);
    gives("lom_block_read", lom_block_read(fan, "Live", 0, 4, bytes), hardware_codes);
    gives("lom_block_write", lom_block_write(fan, "Live", 0, 4, bytes), hardware_codes);
    gives("lom_get_basic_hvalue", lom_get_basic_hvalue(fan, "Live", &value), hardware_codes);
    if (value != nullptr) g_variant_unref(value);
    gives("lom_get_property_chip", lom_get_property_chip(fan, "Live", name, PUB_NAME_LENGTH),
          hardware_codes);
    const gint32 code = lom_get_host_bus(fan, "Live", name);
    EXPECT_TRUE(code == MOX_OK || hardware_codes.contains(code) ||
                (!must_succeed() && passed_on_->contains(code)))
        << "lom_get_host_bus gave " << code;
    for (const char* const object : {"Tacho", "Cpld", "Fan1"}) {
        lom_create_has_object(handle_of(named(object)));
    }
}

void WholeModel::share_objects() const {
    const std::string name = named("Fan1");
    guint32 size = 0;
    gpointer copy = nullptr;
    gives("lom_copy_object", lom_copy_object(name.c_str(), &size, &copy, 5, FALSE), lookup_codes);
    g_free(copy);
    GSList* handles = nullptr;
    for (const char* const object : {"Fan1", "Fan2", "Sum"}) {
        handles = g_slist_append(handles, GINT_TO_POINTER(handle_of(named(object))));
    }
    GSList* records = nullptr;
    gives("lom_list_to_rpc", lom_list_to_rpc(handles, 5, &records), lookup_codes);
    g_slist_free_full(records, g_free);
    g_slist_free(handles);
    lom_batch_unref(5);
    const gint32 code = lom_lock_object(handle_of(name));
    gives("lom_lock_object", code, read_codes);
    if (code != MOX_OK) return;
    EXPECT_EQ(lom_unlock_object(handle_of(name)), MOX_OK);
}

void WholeModel::use_aliases() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    static int data = 0;
    const gint32 bound = lom_bind_data(fan, &data, nullptr);
    gives("lom_bind_data", bound, read_codes);
    EXPECT_EQ(lom_get_binded_data(fan), bound == MOX_OK ? &data : nullptr);
    const gint32 code = lom_bind_alias(fan, 0x1A);
    gives("lom_bind_alias", code, lookup_codes);
    EXPECT_EQ(lom_get_with_alias(named("Fan").c_str(), 0x1A), code == MOX_OK ? fan : 0);
    EXPECT_EQ(lom_get_data_with_alias(named("Fan").c_str(), 0x1A),
              code == MOX_OK ? lom_get_binded_data(fan) : nullptr);
    gives("lom_unbind_alias", lom_unbind_alias(fan, 0x1A), lookup_codes);
    gives("lom_bind_alias", lom_bind_alias(fan, 0x1B), lookup_codes);
    lom_unbind_all_alias(fan);
    EXPECT_EQ(lom_get_with_alias(named("Fan").c_str(), 0x1B), 0);
    Value result(exp_get_value("u", 5, 0, 0, "X + 2"));
    EXPECT_NE(result, nullptr);
}

void WholeModel::send_messages() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    const Value speed = owned(g_variant_new_uint32(7));
    gives("lom_property_event", lom_property_event(fan, "Speed", speed.get(), TRUE), message_codes);
    gives("lom_property_event",
          lom_property_event(handle_of(named("Fan2")), "Speed", speed.get(), TRUE), message_codes);
    gives("lom_count_event", lom_count_event(fan, "Speed", FALSE), lookup_codes);
    gpointer const message = ipc_msg_alloc(4);
    gives("ipc_msg_send", ipc_msg_send(101, MOX_MSG_DUMP, message, 4), message_codes);
    GSList* ports = nullptr;
    for (const gint32 port : {101, 102}) ports = g_slist_append(ports, GINT_TO_POINTER(port));
    gives("ipc_msg_batch", ipc_msg_batch(ports, MOX_MSG_DUMP, 4, message), message_codes);
    gives("ipc_msg_send_dump", ipc_msg_send_dump(101, "/tmp/x"), message_codes);
    gives("ipc_msg_delobj_event", ipc_msg_delobj_event(101, board_position()), message_codes);
    g_slist_free(ports);
    ipc_msg_free(message);
}

}  // namespace mox::test
