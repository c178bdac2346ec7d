/* pool_owner: a user of the installed libmoxbase and its platform libraries, in C99. Owns a pool,
 * builds an object in it, and ends with 0 when the object reads as it was built and written. Needs
 * an IPC namespace of its own. */
#include <classnode.h>
#include <lom.h>
#include <moxplat/osal.h>
#include <shmem.h>
#include <stdio.h>
#include <string.h>

static OBJ_HANDLE build_fan(void) {
    const gint32 speed = 1200;
    CONST_TLV_S value;
    OBJECT_PTR object;
    OBJ_HANDLE handle;
    memset(&value, 0, sizeof value);
    value.type[0] = 'i';
    value.size = sizeof speed;
    value.data = &speed;
    object = lom_create_object_embryo(1, "fan1", "Fan", "", "Logical", 1);
    lom_init_property(object, 0, "Speed", &value, "r-");
    handle = lom_add_object(object);
    lom_ready_object(object);
    lom_set_writable(handle, OBJECT_READ_WRITE);
    return handle;
}

static gint32 read_speed(OBJ_HANDLE fan) {
    GVariant* value = NULL;
    gint32 speed = -1;
    if (lom_get_property_value(fan, "Speed", FALSE, &value, FALSE) == MOX_OK) {
        speed = g_variant_get_int32(value);
        g_variant_unref(value);
    }
    return speed;
}

int main(void) {
    OBJ_HANDLE fan;
    GVariant* faster = g_variant_ref_sink(g_variant_new_int32(2400));
    gint32 built;
    gint32 status;
    gint32 written;
    shm_owned_shmem();
    if (shm_create() != MOX_OK) {
        fprintf(stderr, "pool_owner: no pool\n");
        return 1;
    }
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    cls_create_class("Fan");
    fan = build_fan();
    built = read_speed(fan);
    status = lom_set_property_value(fan, "Speed", faster, PER_MODE_NOSUPPORT, FALSE);
    written = read_speed(fan);
    g_variant_unref(faster);
    osal_process_release_all();
    printf("fan1.Speed %d, written with %s, %d\n", built, mox_status_name(status), written);
    return built == 1200 && status == MOX_OK && written == 2400 ? 0 : 1;
}
