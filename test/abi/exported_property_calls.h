/* The calls of reading, writing, saving and hardware: a part of exported_calls.h, which includes
 * this file once and has its words. */
#ifndef MOX_TEST_EXPORTED_PROPERTY_CALLS_H
#define MOX_TEST_EXPORTED_PROPERTY_CALLS_H

static void ignore_property(OBJ_HANDLE obj_handle, const gchar* property_name, GVariant* value,
                            gpointer count) {
    (void)obj_handle;
    (void)property_name;
    (void)value;
    ++*AS(int*, count);
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

#endif
