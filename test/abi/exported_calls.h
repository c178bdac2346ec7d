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

static void ignore_property(OBJ_HANDLE obj_handle, const gchar* property_name, GVariant* value,
                            gpointer count) {
    (void)obj_handle;
    (void)property_name;
    (void)value;
    ++*AS(int*, count);
}

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

static void call_property_functions(OBJ_HANDLE handle) {
    GVariant* value = NULL;
    TLV_S tlv;
    guchar bytes[4];
    gchar type[PUB_TYPE_LENGTH];
    int count = 0;
    CHECK(lom_get_property_value(handle, "Speed", FALSE, &value, FALSE) == 0);
    CHECK(value != NULL && g_variant_get_int32(value) == 7);
    CHECK(lom_property_event(handle, "Speed", value, FALSE) == 0);
    g_variant_unref(value);
    CHECK(lom_get_property_value_v2(handle, "Speed", FALSE, sizeof(bytes), bytes, FALSE) == 0);
    CHECK(lom_get_property_data(handle, "Speed", FALSE, &tlv, FALSE) == 0 && tlv.size == 4);
    g_free(tlv.data);
    CHECK(lom_get_property_memory_data(handle, "Speed", &tlv) == 0 && tlv.size == 4);
    g_free(tlv.data);
    CHECK(lom_get_property_type(handle, "Speed", type, PUB_TYPE_LENGTH) == 0 &&
          strcmp(type, "i") == 0);
    CHECK(lom_count_event(handle, "Speed", FALSE) == 0);
    CHECK(lom_get_property_change_cnt(handle, "Speed", FALSE) == 1);
    CHECK(lom_foreach_property(handle, ignore_property, &count) == 0 && count == 1);
    lom_property_batch_read();
}

static void call_write_functions(OBJ_HANDLE handle) {
    static char name[] = "Speed";
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(8));
    GSList* names = g_slist_append(NULL, name);
    GSList* values = NULL;
    gboolean is_taken = FALSE;
    CHECK(lom_set_property_value(handle, "Speed", value, PER_MODE_NOSUPPORT, FALSE) == 0);
    CHECK(lom_apply_property_value(handle, "Speed", value, PER_MODE_NOSUPPORT, APPLY_AUTO_MODE,
                                   FALSE) == 0);
    CHECK(lom_override_property_value(handle, "Speed", value, PROPERTY_OVERRIDE, &is_taken) == 0);
    CHECK(is_taken);
    CHECK(lom_set_property_value(handle, "Speed", value, PER_MODE_NOSUPPORT, FALSE) ==
          MOX_ERR_OVERRIDDEN);
    CHECK(lom_override_property_value(handle, "Speed", NULL, PROPERTY_CANCEL_OVERRIDE, NULL) == 0);
    CHECK(lom_multiget_property_value(handle, names, &values) == 0);
    CHECK(values != NULL && g_variant_get_int32(AS(GVariant*, values->data)) == 8);
    g_slist_free_full(values, AS_DESTROY(g_variant_unref));
    g_slist_free(names);
    g_variant_unref(value);
    value = exp_get_value("i", 5, 0, 0, "X & 4");
    CHECK(value != NULL && g_variant_get_int32(value) == 4);
    g_variant_unref(value);
}

/* No store is open in this process. */
static void call_persistence_functions(OBJ_HANDLE handle) {
    GVariant* value = NULL;
    gboolean is_saved = FALSE;
    CHECK(lom_save_property_value(handle, "Speed", NULL, PER_MODE_PERMANENT, FALSE, FALSE) ==
          PER_ERROR_CFG_INIT_FAIL);
    CHECK(lom_get_saved_value(handle, "Speed", &value, PER_MODE_PERMANENT, FALSE) ==
          PER_ERROR_CFG_INIT_FAIL);
    CHECK(lom_is_property_value_saved(handle, "Speed", PER_MODE_PERMANENT, FALSE, &is_saved) ==
          PER_ERROR_CFG_INIT_FAIL);
    CHECK(lom_set_property_save_type(handle, "Speed", FALSE) == 0);
    CHECK(lom_reset_property_status("Fan1", "Speed", 2) == 0);
}

static void call_hardware_functions(OBJ_HANDLE handle) {
    GHashTable* family = g_hash_table_new(g_direct_hash, g_direct_equal);
    GVariant* value = NULL;
    gchar name[PUB_NAME_LENGTH] = "";
    guint8 bytes[8] = {0};
    CHECK(lom_get_property_accessor(handle, "Speed", name, PUB_NAME_LENGTH) == MOX_ERR_NO_ACCESSOR);
    CHECK(lom_block_read(handle, "Speed", 0, 0, bytes) == MOX_ERR_NO_ACCESSOR);
    CHECK(lom_block_write(handle, "Speed", 0, 4, bytes) == MOX_ERR_NO_ACCESSOR);
    CHECK(lom_get_basic_hvalue(handle, "Speed", &value) == MOX_ERR_NO_ACCESSOR);
    CHECK(lom_get_property_chip(handle, "Speed", name, PUB_NAME_LENGTH) == MOX_ERR_NO_ACCESSOR);
    CHECK(lom_get_host_bus(handle, "Speed", name) == MOX_ERR_NO_ACCESSOR);
    lom_family_to_hash(handle, family);
    lom_create_has_object(0);
    g_hash_table_destroy(family);
}

static void call_sharing_functions(OBJ_HANDLE handle) {
    guint32 bitmap[LOM_REF_BITMAP_WORDS] = {0};
    guint32 size = 0;
    gpointer copy = NULL;
    GSList* handles = g_slist_append(NULL, GINT_TO_POINTER(handle));
    GSList* records = NULL;
    lom_set_copy_func(NULL);
    lom_set_modify_func(NULL);
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
    handle = call_building_functions();
    call_registry_functions(handle, nowhere);
    call_property_functions(handle);
    call_write_functions(handle);
    call_persistence_functions(handle);
    call_hardware_functions(handle);
    call_sharing_functions(handle);
    call_message_functions(fan);
    cls_del_object(handle);
    osal_process_release_all();
    fclose(nowhere);
    return failed_checks;
}

#endif
