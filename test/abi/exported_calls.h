/* One call of every exported function, in the words that C99 and C++20 have in common; each of the
 * two programs includes this file once, after the public headers. The calls are those of a process
 * that owns the pool and hurts nobody: what they do in depth is tested elsewhere, here they show
 * that every name links, is declared for both languages and passes its arguments. */
#ifndef MOX_TEST_EXPORTED_CALLS_H
#define MOX_TEST_EXPORTED_CALLS_H

#include <stdio.h>
#include <string.h>

#ifdef __cplusplus
#define AS(type, pointer)    static_cast<type>(pointer)
#define AS_DESTROY(function) reinterpret_cast<GDestroyNotify>(function)
#else
#define AS(type, pointer)    ((type)(pointer))
#define AS_DESTROY(function) ((GDestroyNotify)(function))
#endif

static int failed_checks = 0;

static void check(int holds, const char* what, int line) {
    if (!holds) {
        ++failed_checks;
        fprintf(stderr, "line %d: not true: %s\n", line, what);
    }
}
#define CHECK(condition) check((condition) != 0, #condition, __LINE__)

static void ignore_class(gpointer key, gpointer value, gpointer count) {
    (void)key;
    (void)value;
    ++*AS(int*, count);
}

static void ignore_object(const gchar* class_name, OBJ_HANDLE obj_handle, gpointer count) {
    (void)class_name;
    (void)obj_handle;
    ++*AS(int*, count);
}

#include "exported_property_calls.h"

static void call_value_functions(void) {
    static char text[] = "ab";
    const gint32 number = 7;
    gchar type[PUB_TYPE_LENGTH] = "s";
    gchar persisted[PUB_TYPE_LENGTH] = "";
    GVariant* value = g_variant_ref_sink(pub_base_gvariant_new("i", &number));
    GList* elements = g_list_append(NULL, text);
    GSList* element_list = g_slist_append(NULL, text);
    GSList* value_list = g_slist_append(NULL, value);
    GSList* records = pub_slist_varaint_to_rpc(value_list);
    GSList* values = pub_slist_rpc_to_varaint(records);
    GSList* data = pub_slist_rpc_to_data(records);
    GSList* strings = pub_slist_rpc_to_string(records);
    GSList* types = pub_slist_vartype_to_rpc(element_list);
    GSList* reversed = pub_list_data_to_rpcslist(elements, 3);
    GSList* also_reversed = pub_slist_data_to_rpc(element_list, 3);
    RPC_DATA_S* record = pub_data_to_rpc(3, "s", text);

    CHECK(pub_str_type_check("i") == GVARIANT_FIX);
    CHECK(pub_gvariant_type_check(value) == GVARIANT_FIX);
    CHECK(pub_raw_to_double("i", 4, &number) > 6.5);
    type[3] = PUB_REFERENCE_MARKER;
    pub_serialize_type(type, persisted, PUB_TYPE_LENGTH);
    CHECK(strcmp(persisted, "rp") == 0);
    pub_unserialize_type(persisted, type, PUB_TYPE_LENGTH);
    CHECK(type[3] == PUB_REFERENCE_MARKER);
    CHECK(record != NULL && record->size == 3);
    CHECK(g_slist_length(values) == 1 && g_slist_length(data) == 1 && g_slist_length(strings) == 1);
    CHECK(g_slist_length(types) == 1 && g_slist_length(reversed) == 1 &&
          g_slist_length(also_reversed) == 1);
    CHECK(pub_slist_str_data_compare("a", "a") == 0);
    CHECK(pub_gnode_get_parent(NULL) == NULL);

    g_free(record);
    g_slist_free_full(also_reversed, g_free);
    g_slist_free_full(reversed, g_free);
    g_slist_free_full(types, g_free);
    g_slist_free_full(strings, g_free);
    g_slist_free_full(data, g_free);
    g_variant_unref(AS(GVariant*, values->data));
    g_slist_free(values);
    g_slist_free_full(records, g_free);
    g_slist_free(value_list);
    g_slist_free(element_list);
    g_list_free(elements);
    g_variant_unref(value);
}

static void call_output_functions(void) {
    CHECK(pub_log_init(NULL, "abi") == TRUE);
    pub_debug_print(MX_DBG_INFO, "every function is called once, number %d\n", 1);
    CHECK(strcmp(mox_status_name(MOX_ERR_OVERRIDDEN), "MOX_ERR_OVERRIDDEN") == 0);
    CHECK(pub_env_higher_level(MX_DBG_ERR));
    CHECK(pub_get_env_value("MOX_TEST_NEVER_SET") == -1);
    CHECK(strcmp(pub_get_file_name("a/b"), "b") == 0);
    CHECK(pub_is_process_exist(0));
}

static void call_pool_functions(FILE* nowhere) {
    gpointer block;
    gchar* text;
    CHECK(!shm_is_owner());
    CHECK(lom_alloc_space(0) == NULL);
    shm_owned_shmem();
    CHECK(shm_is_owner());
    CHECK(shm_create() == 0);
    CHECK(shm_add_mblock(0) != NULL);
    block = shm_alloc0(16);
    text = shm_strdup("abcdef", 4);
    CHECK(block != NULL && text != NULL && strcmp(text, "abc") == 0);
    shm_free(text);
    text = AS(gchar*, shm_memdup("abc", 4));
    CHECK(text != NULL && strcmp(text, "abc") == 0);
    shm_free(text);
    shm_free(block);
    shm_dump(nowhere);
    shm_app_init();
}

static CLS_HANDLE call_class_functions(FILE* nowhere) {
    CLS_HANDLE device = cls_create_class("Device");
    CLS_HANDLE fan = cls_create_class("Fan");
    GSList* list = NULL;
    int count = 0;
    CHECK(cls_get_share_base() != NULL);
    cls_init_share_data(cls_get_share_base());
    cls_set_parent(fan, device);
    cls_set_next(device, fan);
    CHECK(cls_get_class("Fan") == fan);
    CHECK(cls_is_exist("Fan"));
    CHECK(cls_is_type(fan, "Device"));
    CHECK(cls_name_is_type("Fan", "Device"));
    CHECK(cls_get_parent(fan) == fan);
    CHECK(strcmp(cls_get_class_name(fan), "Fan") == 0);
    cls_class_foreach(ignore_class, &count);
    CHECK(count == 2);
    cls_set_state(fan, CLASS_OBJECT_ARCHIVE);
    CHECK(cls_get_state(fan) == CLASS_OBJECT_ARCHIVE);
    cls_set_collection_object(fan, 5);
    CHECK(cls_get_collection_object(fan) == 5);
    cls_set_module(fan, &count);
    CHECK(cls_get_module(fan) == &count);
    cls_set_module(fan, NULL);
    cls_add_listener_port(fan, "Noise", 3, 4);
    CHECK(cls_get_serialized_listener_list(fan) != NULL);
    cls_set_serialized_listener_list(device, cls_get_serialized_listener_list(fan));
    CHECK(cls_get_listener_list("Device", "Noise", &list) == 0 && g_slist_length(list) == 1);
    g_slist_free(list);
    cls_debug_print(nowhere);
    dump_traverse_class(fan, nowhere);
    return fan;
}

/* A tree of one class, "Board", with a property and a method. */
static void call_schema_functions(void) {
    static const gchar type[PUB_TYPE_LENGTH] = "u";
    guint32 number = 7;
    guint32 count = 0;
    gint32 class_count = 0;
    DEFINED_CLASS_NODE_S* board = NULL;
    DEFINED_PROPERTY_NODE_S* property = NULL;
    GVariant* value = NULL;
    GSList* list = NULL;
    clt_create_class_tree(1);
    CHECK(clt_get_class_tree_addr() != NULL);
    clt_set_tree_addr(clt_get_class_tree_addr());
    CHECK(clt_init_class("Board", 0, 4) == cls_get_class("Board"));
    clt_create_property(0, 1);
    clt_init_property(0, 0, 5, "Slot", type, 1, 1);
    clt_create_method(0, 1);
    clt_init_method(0, 0, 6, "Reset");
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    clt_init_method_para(0, 0, INPUT_PARA, 0, type);
    clt_create_method_property(0, 0, 1);
    clt_init_method_property(0, 0, 0, "Timeout", "u", sizeof(number), &number);
    clt_get_class_tree(&class_count, &board);
    CHECK(class_count == 1 && board == clt_get_class_by_id(4));
    CHECK(clt_get_property_by_class("Board", &count, &property) == 0 && count == 1);
    CHECK(property != NULL && property == clt_get_property_by_id(board, 5));
    CHECK(strcmp(clt_get_method_by_id(board, 6)->name, "Reset") == 0);
    CHECK(clt_get_paralist("Board", "Reset", INPUT_PARA, &list) == 0 && g_slist_length(list) == 1);
    g_slist_free_full(list, AS_DESTROY(g_variant_type_free));
    CHECK(clt_get_method_property("Board", "Reset", "Timeout", &value) == 0);
    CHECK(value != NULL && g_variant_get_uint32(value) == 7);
    g_variant_unref(value);
    CHECK(clt_get_all_children("Board", &list) == 0 && g_slist_length(list) == 1);
    g_slist_free(list);
}

static void call_route_functions(void) {
    GSList* list = NULL;
    rut_add_module("fan", 5, 7);
    rut_add_class("fan", 5, 7);
    rut_get_list(&list);
    CHECK(g_slist_length(list) == 2 && AS(ROUTE_S*, list->data)->target.msg_que_id == 7);
}

/* "Fan1" of class "Fan" with the int32 property "Speed". */
static OBJ_HANDLE call_building_functions(void) {
    const gint32 number = 7;
    CONST_TLV_S tlv = {"i", sizeof(number), &number};
    OBJECT_PTR object;
    OBJ_HANDLE handle;
    GSList* list = NULL;
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    object = lom_create_object_embryo(1, "Fan1", "Fan", "", "Logical", 9);
    lom_init_property(object, 0, "Speed", &tlv, "rw");
    lom_init_accessor(object, 0, "", 0);
    lom_mutex_object(object);
    handle = lom_add_object(object);
    lom_ready_object(object);
    CHECK(handle != 0);
    CHECK(lom_create_object(0, NULL) == 0);
    lom_set_writable(handle, OBJECT_READ_WRITE);
    CHECK(lom_is_writable(handle));
    CHECK(lom_realloc_property("Fan1", "Speed", "i", sizeof(number), &number) == 0);
    cls_add_object("Fan", handle);
    CHECK(cls_get_object_count(cls_get_class("Fan")) == 1);
    CHECK(cls_get_object_list(cls_get_class("Fan"), &list) == 0);
    g_slist_free(list);
    CHECK(cls_get_newobj_list(cls_get_class("Fan"), &list) == 0);
    g_slist_free(list);
    cls_clear_newobj_list(cls_get_class("Fan"));
    return handle;
}

static void call_registry_functions(OBJ_HANDLE handle, FILE* nowhere) {
    gchar name[PUB_NAME_LENGTH] = "";
    MODULE_REG_INFO_S info;
    int count = 0;
    memset(&info, 0, sizeof(info));
    CHECK(lom_name_to_handle("Fan1") == handle);
    CHECK(strcmp(lom_handle_to_name(handle), "Fan1") == 0);
    CHECK(strcmp(lom_get_object_name(handle), "Fan1") == 0);
    CHECK(lom_get_object_handle("Fan1") == handle);
    CHECK(lom_get_class_name(handle, name, PUB_NAME_LENGTH) == 0);
    CHECK(lom_get_charged_class(handle, name, PUB_NAME_LENGTH) == 0);
    CHECK(lom_get_charged_object(handle, name, PUB_NAME_LENGTH) == 0);
    lom_set_module(handle, &count);
    CHECK(lom_get_module(handle) == &count);
    lom_set_module_type(MODULE_SERVICE);
    CHECK(lom_get_module_type() == MODULE_SERVICE);
    CHECK(lom_get_position(handle) == 9);
    CHECK(lom_bind_data(handle, &count, NULL) == 0);
    CHECK(lom_get_binded_data(handle) == &count);
    lom_foreach_object(ignore_object, &count);
    CHECK(count == 1);
    lom_list_objects(nowhere);
    lom_dump_reginfo(nowhere, &info);
    CHECK(lom_lock_object(handle) == 0);
    CHECK(lom_unlock_object(handle) == 0);
}

static void call_sharing_functions(OBJ_HANDLE handle) {
    guint32 bitmap[LOM_REF_BITMAP_WORDS] = {0};
    guint32 size = 0;
    gpointer copy = NULL;
    GSList* handles = g_slist_append(NULL, GINT_TO_POINTER(handle));
    GSList* records = NULL;
    lom_set_copy_func(NULL);
    lom_set_modify_func(NULL);
    lom_set_override_check_func(NULL);
    lom_set_remote_get_property_func(NULL);
    lom_set_remote_save_property_func(NULL);
    lom_set_remote_get_saved_value_func(NULL);
    lom_set_bitmap_id(1);
    lom_set_reference_bitmap(bitmap, 33);
    CHECK(bitmap[1] == 2U);
    lom_clear_reference_bitmap(bitmap, 33);
    CHECK(bitmap[1] == 0U);
    CHECK(lom_set_reference("Fan1", "NoSuchObject") == MOX_ERR_OBJECT_NOT_FOUND);
    CHECK(lom_copy_object("Fan1", &size, &copy, 2, FALSE) == 0 && size == sizeof(OBJECT_HEAD_S));
    g_free(copy);
    CHECK(lom_list_to_rpc(handles, 2, &records) == 0 && g_slist_length(records) == 1);
    lom_batch_unref(2);
    g_slist_free_full(records, g_free);
    g_slist_free(handles);
}

static void call_alias_functions(OBJ_HANDLE handle) {
    CHECK(lom_bind_alias(handle, 0x1A) == 0);
    CHECK(lom_get_with_alias("Fan", 0x1A) == handle);
    CHECK(lom_get_data_with_alias("Fan", 0x1A) == lom_get_binded_data(handle));
    CHECK(lom_unbind_alias(handle, 0x1A) == 0);
    CHECK(lom_bind_alias(handle, 0x1B) == 0);
    lom_unbind_all_alias(handle);
    CHECK(lom_get_with_alias("Fan", 0x1B) == 0);
}

static void ignore_new_objects(CLS_HANDLE class_handle, GSList* object_names) {
    (void)class_handle;
    (void)object_names;
}

static void call_collection_functions(CLS_HANDLE fan) {
    static const gchar* const names[] = {"Fan1"};
    GVariant* value = g_variant_ref_sink(g_variant_new_strv(names, 1));
    cls_create_collection("Fan", fan, ignore_new_objects);
    CHECK(cls_get_state(fan) == CLASS_OBJECT_ARCHIVE);
    CHECK(cls_get_collection_object(fan) == lom_get_object_handle("Fan:C"));
    CHECK(lom_create_collection("Fan", 1, value) == 0);
    g_variant_unref(value);
}

static void call_message_functions(CLS_HANDLE fan) {
    static char name[] = "Fan1";
    gint32 queue = 0;
    gpointer message = ipc_msg_alloc(4);
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(7));
    GSList* names = g_slist_append(NULL, name);
    GSList* ports;
    CHECK(osal_process_queue_create(&queue) == 0);
    ports = g_slist_append(NULL, GINT_TO_POINTER(queue));
    ipc_msg_set_port(queue);
    CHECK(ipc_msg_send(queue, MOX_MSG_DUMP, message, 4) == 0);
    CHECK(ipc_msg_batch(ports, MOX_MSG_DUMP, 4, message) == 0);
    CHECK(ipc_msg_send_dump(queue, "/tmp/x") == 0);
    CHECK(ipc_msg_delobj_event(queue, 9) == 0);
    CHECK(ipc_msg_property_event(ports, "Fan1", "Speed", "i", 4, value) == 0);
    ipc_msg_set_lost_func(NULL);
    ipc_msg_tell_lost(ports, MOX_MSG_DUMP, MOX_ERR_INTERNAL);
    ipc_msg_newobj_init();
    ipc_msg_collect_obj(queue, fan, names);
    ipc_msg_newobj_event(9);
    ipc_msg_newobj_free();
    ipc_clear_queue(queue);
    CHECK(osal_process_queue_delete(queue) == 0);
    ipc_msg_free(message);
    g_slist_free(ports);
    g_slist_free(names);
    g_variant_unref(value);
}

static void ignore_position(const gchar* class_name, OBJ_HANDLE obj_handle, gpointer position) {
    CHECK(class_name != NULL && obj_handle != 0 && GPOINTER_TO_UINT(position) == 8);
}

static void call_lifecycle_functions(OBJ_HANDLE handle, FILE* nowhere) {
    GHashTable* unsaved = g_hash_table_new(g_str_hash, g_str_equal);
    lom_remove_to_garbage(8, unsaved);
    CHECK(g_hash_table_size(unsaved) == 0);
    lom_reclaim_garbage();
    lom_list_garbage(nowhere);
    lom_batch_delete(8, ignore_position);
    CHECK(lom_get_object_handle(lom_get_object_name(handle)) == handle);
    lom_delete_object(handle);
    CHECK(lom_get_object_handle(lom_get_object_name(handle)) == 0);
    g_hash_table_destroy(unsaved);
    lom_detach_objects();
}

/* Returns the number of calls that did not do what they should. */
static int call_every_function(void) {
    FILE* nowhere = fopen("/dev/null", "w");
    CLS_HANDLE fan;
    OBJ_HANDLE handle;
    if (nowhere == NULL) return 1;
    call_output_functions();
    call_value_functions();
    call_pool_functions(nowhere);
    fan = call_class_functions(nowhere);
    call_schema_functions();
    call_route_functions();
    handle = call_building_functions();
    call_registry_functions(handle, nowhere);
    call_property_functions(handle);
    call_write_functions(handle);
    call_persistence_functions(handle);
    call_hardware_functions(handle);
    call_sharing_functions(handle);
    call_alias_functions(handle);
    call_collection_functions(fan);
    call_message_functions(fan);
    cls_del_object(handle);
    call_lifecycle_functions(handle, nowhere);
    osal_process_release_all();
    fclose(nowhere);
    return failed_checks;
}

#endif
