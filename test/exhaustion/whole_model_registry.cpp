// Use of what the model is registered in: the classes with their private records, the objects'
// fields, the routes, collections that are made by hand, and the messages that got lost.
#include <classtree.h>
#include <lom.h>
#include <mxroute.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {
namespace {

gsize lost_messages = 0;

void count_lost(gint32, guint32, gint32 result) {
    EXPECT_NE(result, MOX_OK);
    ++lost_messages;
}

bool contains(GSList* list, OBJ_HANDLE handle) {
    return g_slist_find(list, GINT_TO_POINTER(handle)) != nullptr;
}

}  // namespace

void WholeModel::listen_to_changes() const {
    const OBJ_HANDLE fan = handle_of(named("Fan1"));
    const gint32 sent = lom_get_property_change_cnt(fan, "Speed", TRUE);
    gives("lom_get_property_change_cnt", sent, lookup_codes);
    const gint32 code = lom_count_event(fan, "Speed", TRUE);
    gives("lom_count_event", code, lookup_codes);
    if (sent >= 0 && code == MOX_OK) {
        EXPECT_EQ(lom_get_property_change_cnt(fan, "Speed", TRUE), sent + 1);
    }
}

// Each message that a call did not get away is told once for each port that it was for.
void WholeModel::count_lost_messages() const {
    GSList* ports = nullptr;
    for (const gint32 port : {101, 102}) ports = g_slist_append(ports, GINT_TO_POINTER(port));
    gpointer const message = ipc_msg_alloc(4);
    ipc_msg_set_lost_func(count_lost);
    lost_messages = 0;
    gint32 code = ipc_msg_send(101, MOX_MSG_DUMP, message, 4);
    gives("ipc_msg_send", code, message_codes);
    EXPECT_EQ(lost_messages, code == MOX_OK ? 0U : 1U);
    lost_messages = 0;
    const Value speed = owned(g_variant_new_uint32(8));
    code = ipc_msg_property_event(ports, named("Fan1").c_str(), "Speed", "u", 4, speed.get());
    gives("ipc_msg_property_event", code, message_codes);
    EXPECT_EQ(lost_messages == 0, code == MOX_OK);
    lost_messages = 0;
    ipc_msg_tell_lost(ports, MOX_MSG_DUMP, MOX_ERR_INTERNAL);
    EXPECT_EQ(lost_messages, 2U);
    ipc_msg_set_lost_func(nullptr);
    for (const gint32 port : {101, 102}) {
        ipc_clear_queue(port);
        OSAL_QUEUE_STATE_S state = {};
        EXPECT_EQ(osal_process_queue_state(port, &state), OSAL_OK);
        EXPECT_EQ(state.messages, 0U);
    }
    g_slist_free(ports);
    ipc_msg_free(message);
}

void WholeModel::use_classes() const {
    const CLS_HANDLE fan = cls_get_class(named("Fan").c_str());
    const CLS_HANDLE sensor = cls_get_class(named("Sensor").c_str());
    static int module = 0;
    gives_thing("cls_is_exist", cls_is_exist(named("Fan").c_str()) != FALSE);
    EXPECT_EQ(cls_is_exist(named("Fan").c_str()) != FALSE, fan != nullptr);
    EXPECT_EQ(cls_get_parent(sensor), cls_get_class(cls_get_class_name(sensor)));
    EXPECT_EQ(cls_name_is_type(named("Sensor").c_str(), named("Fan").c_str()),
              cls_is_type(sensor, named("Fan").c_str()));
    cls_init_share_data(cls_get_share_base());
    EXPECT_EQ(cls_get_class(named("Fan").c_str()), fan);
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* tree = nullptr;
    clt_get_class_tree(&count, &tree);
    EXPECT_EQ(count, clt_get_class_tree_addr() == nullptr ? 0 : gint32{2 * classes});
    EXPECT_EQ(tree != nullptr, count != 0);
    if (fan == nullptr) return;
    const gchar* const name = cls_get_class_name(fan);
    gives_thing("cls_get_class_name", name != nullptr);  // a name that had no room is missing
    EXPECT_TRUE(name == nullptr || named("Fan") == name);
    const CLASS_STATE_E state = cls_get_state(fan);
    cls_set_state(fan, CLASS_OBJECT_ADDED);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
    cls_set_state(fan, state);
    cls_set_module(fan, &module);
    EXPECT_EQ(cls_get_module(fan), &module);
    cls_set_module(fan, nullptr);
    gpointer const listeners = cls_get_serialized_listener_list(fan);
    gives_thing("cls_get_serialized_listener_list", listeners != nullptr);
    cls_set_serialized_listener_list(fan, listeners);
    EXPECT_EQ(cls_get_serialized_listener_list(fan), listeners);
}

// An object that leaves its class and comes back is a new one, until the list is emptied.
void WholeModel::use_new_objects() const {
    const CLS_HANDLE fan = cls_get_class(named("Fan").c_str());
    const OBJ_HANDLE object = lom_get_object_handle(named("Fan2").c_str());
    if (fan == nullptr || object == 0) return;
    const guint count = cls_get_object_count(fan);
    cls_del_object(object);
    EXPECT_EQ(cls_get_object_count(fan), count - 1);
    cls_add_object(named("Fan").c_str(), object);
    EXPECT_EQ(cls_get_object_count(fan), count);
    GSList* list = nullptr;
    EXPECT_EQ(cls_get_newobj_list(fan, &list), MOX_OK);
    EXPECT_TRUE(contains(list, object));
    g_slist_free(list);
    list = nullptr;
    cls_clear_newobj_list(fan);
    EXPECT_NE(cls_get_newobj_list(fan, &list), MOX_OK);
    EXPECT_EQ(list, nullptr);
}

// A collection of a class without objects, made and made longer by hand.
void WholeModel::use_collection() const {
    const std::string name = named("Loner");
    const CLS_HANDLE loner = cls_create_class(name.c_str());
    gives_thing("cls_create_class", loner != nullptr);
    EXPECT_EQ(cls_get_class(name.c_str()), loner);
    const Value one = owned(texts_value({"one"}));
    const Value more = owned(texts_value({"one", "two", "and a third one"}));
    const OBJ_HANDLE made = lom_create_collection(name.c_str(), 1, one.get());
    gives_thing("lom_create_collection", made != 0);
    EXPECT_EQ(lom_get_object_handle((name + ":C").c_str()), made);
    cls_set_collection_object(loner, made);
    EXPECT_EQ(cls_get_collection_object(loner), loner == nullptr ? 0 : made);
    if (made == 0) return;
    EXPECT_EQ(lom_create_collection(name.c_str(), 3, more.get()), 0) << "it is updated";
    const std::string list = stored_value(name + ":C", "List");
    EXPECT_TRUE(list == printed(more.get()) || !must_succeed()) << list;
    EXPECT_TRUE(list == printed(one.get()) || list == printed(more.get()) ||
                list.rfind("code ", 0) == 0)
        << list;
}

void WholeModel::use_registry() const {
    const std::string name = named("Fan1");
    const OBJ_HANDLE fan = handle_of(name);
    const bool is_there = lom_get_object_handle(name.c_str()) != 0;
    static int module = 0;
    gchar text[PUB_NAME_LENGTH] = "";
    gint32 code = lom_get_charged_class(fan, text, PUB_NAME_LENGTH);
    gives("lom_get_charged_class", code, lookup_codes);
    EXPECT_EQ(std::string(text), code == MOX_OK ? named("Fan") : "");
    code = lom_get_charged_object(handle_of(named("Other")), text, PUB_NAME_LENGTH);
    gives("lom_get_charged_object", code, lookup_codes);
    EXPECT_TRUE(text == named("Fan2") || !must_succeed()) << text;
    lom_set_module(fan, &module);
    EXPECT_EQ(lom_get_module(fan), is_there ? &module : nullptr);
    lom_set_module(fan, nullptr);
    lom_set_module_type(MODULE_SERVICE);
    EXPECT_EQ(lom_get_module_type(), MODULE_SERVICE);
    lom_set_module_type(MODULE_APP);
    EXPECT_EQ(lom_is_writable(fan) != FALSE, is_there);
    GHashTable* const family = g_hash_table_new(g_direct_hash, g_direct_equal);
    lom_family_to_hash(fan, family);
    EXPECT_EQ(g_hash_table_contains(family, GINT_TO_POINTER(fan)) != FALSE, is_there);
    gives_thing("lom_family_to_hash",
                g_hash_table_contains(family, GINT_TO_POINTER(handle_of(named("Cpld")))) != FALSE);
    g_hash_table_destroy(family);
    GSList* routes = nullptr;
    rut_get_list(&routes);
    bool is_found = false;
    for (const GSList* item = routes; item != nullptr; item = item->next) {
        const auto& route = *static_cast<const ROUTE_S*>(item->data);
        is_found = is_found || named("Fan") == route.target_name;
    }
    EXPECT_TRUE(is_found);
}

}  // namespace mox::test
