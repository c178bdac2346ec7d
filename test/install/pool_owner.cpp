// pool_owner: a user of the installed libmoxbase and its platform libraries, in C++20. Owns a pool,
// builds an object in it, and ends with 0 when the object reads as it was built. Needs an IPC
// namespace of its own.
#include <classnode.h>
#include <lom.h>
#include <moxplat/osal.h>
#include <shmem.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace {

struct Unref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};

void add_property(OBJECT_PTR object, guint32 index, const char* name, const char* type,
                  const void* bytes, std::size_t size) {
    CONST_TLV_S value{};
    value.type[0] = type[0];
    value.size = static_cast<guint32>(size);
    value.data = bytes;
    lom_init_property(object, index, name, &value, "r-");
}

OBJ_HANDLE build_fan(double speed, const std::string& label) {
    const OBJECT_PTR object = lom_create_object_embryo(2, "fan1", "Fan", "", "Logical", 1);
    add_property(object, 0, "Speed", "d", &speed, sizeof speed);
    add_property(object, 1, "Label", "s", label.c_str(), label.size() + 1);
    const OBJ_HANDLE handle = lom_add_object(object);
    lom_ready_object(object);
    return handle;
}

std::unique_ptr<GVariant, Unref> read(OBJ_HANDLE object, const char* name) {
    GVariant* value = nullptr;
    lom_get_property_value(object, name, FALSE, &value, FALSE);
    return std::unique_ptr<GVariant, Unref>(value);
}

}  // namespace

int main() {
    shm_owned_shmem();
    if (shm_create() != MOX_OK) {
        std::fprintf(stderr, "pool_owner: no pool\n");
        return 1;
    }
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    cls_create_class("Fan");
    const OBJ_HANDLE fan = build_fan(0.5, "front");
    const auto speed = read(fan, "Speed");
    const auto label = read(fan, "Label");
    const auto missing = read(fan, "Colour");
    osal_process_release_all();
    const bool is_good = speed && g_variant_get_double(speed.get()) == 0.5 && label &&
                         std::strcmp(g_variant_get_string(label.get(), nullptr), "front") == 0 &&
                         !missing;
    std::printf("fan1 reads %s\n", is_good ? "as it was built" : "otherwise than it was built");
    return is_good ? 0 : 1;
}
