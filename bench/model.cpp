#include "model.hpp"

#include <classnode.h>
#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <shmem.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace mox::bench {
namespace {

[[noreturn]] void give_up(const char* what) {
    std::fprintf(stderr, "moxbench: %s\n", what);
    std::exit(1);
}

// What owner and member do before they touch the pool. Without a name of its own a process finds
// every other's debug level.
void name_process() {
    pub_log_init(nullptr, "moxbench");
    g_setenv(SHM_SIZE_VARIABLE, "32", TRUE);
}

struct PropertySpec {
    std::string name;
    std::string type;
    std::string bytes;
    const char* mode = "r-";
    std::string accessor = {};
};

std::string bytes_of(guint32 value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

std::string text(const std::string& value) {
    return value + '\0';
}

OBJ_HANDLE build(const std::string& name, const char* class_name, const char* object_type,
                 const std::vector<PropertySpec>& properties) {
    OBJECT_PTR object = lom_create_object_embryo(static_cast<guint32>(properties.size()),
                                                 name.c_str(), class_name, "", object_type, 1);
    if (object == nullptr) {
        give_up("the pool has no room for the objects");
    }
    for (guint32 index = 0; index < properties.size(); ++index) {
        const PropertySpec& spec = properties[index];
        CONST_TLV_S tlv = {};
        std::memcpy(tlv.type, spec.type.data(), std::min(spec.type.size(), sizeof(tlv.type) - 1));
        tlv.size = static_cast<guint32>(spec.bytes.size());
        tlv.data = spec.bytes.data();
        lom_init_property(object, index, spec.name.c_str(), &tlv, spec.mode);
        if (!spec.accessor.empty()) {
            lom_init_accessor(object, index, spec.accessor.c_str(),
                              static_cast<guint32>(spec.accessor.size()));
        }
    }
    const OBJ_HANDLE handle = lom_add_object(object);
    lom_ready_object(object);
    return handle;
}

}  // namespace

void make_model() {
    name_process();
    shm_owned_shmem();
    if (shm_create() != MOX_OK) {
        give_up("no pool");
    }
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    CLS_HANDLE previous = nullptr;
    for (const char* name : {kClassName, kAnnouncingClass, "Chip", "Accessor", "Expression"}) {
        CLS_HANDLE handle = cls_create_class(name);
        cls_set_next(previous, handle);
        previous = handle;
    }
}

std::string object_name(const std::string& family, int number) {
    return family + "_" + std::to_string(number);
}

void attach_model() {
    name_process();
    shm_app_init();
}

void make_objects(const std::string& family, int count, guint32 property_count) {
    for (int number = 0; number < count; ++number) {
        const std::string name = object_name(family, number);
        if (lom_get_object_handle(name.c_str()) != 0) {
            continue;
        }
        std::vector<PropertySpec> properties;
        for (guint32 index = 0; index < property_count; ++index) {
            properties.push_back(
                {index == 0 ? kProperty : "Value" + std::to_string(index), "u", bytes_of(index)});
        }
        build(name, kClassName, "Logical", properties);
    }
}

OBJ_HANDLE make_writable_object(const std::string& family) {
    make_objects(family, 1000, 6);
    const OBJ_HANDLE object = lom_get_object_handle(object_name(family, 500).c_str());
    lom_set_writable(object, OBJECT_READ_WRITE);
    return object;
}

OBJ_HANDLE make_announcing_object(const std::string& name) {
    const OBJ_HANDLE handle = build(name, kAnnouncingClass, "Logical",
                                    {{kProperty, "u", bytes_of(0)}, {"Value1", "u", bytes_of(0)}});
    lom_set_writable(handle, OBJECT_READ_WRITE);
    return handle;
}

OBJ_HANDLE make_text_object(const std::string& name) {
    return build(name, kClassName, "Logical",
                 {{kProperty, "u", bytes_of(7)}, {"Text", "s", text(std::string(63, 'x'))}});
}

const std::string& chip_file() {
    static std::string path;
    if (path.empty()) {
        char name[] = "/tmp/moxbench-chip-XXXXXX";
        const int file = mkstemp(name);
        if (file < 0 || write(file, "\0\0\0\0", 4) != 4) {
            give_up("the file that stands for a chip cannot be made");
        }
        close(file);
        path = name;
        std::atexit([] { unlink(path.c_str()); });
    }
    return path;
}

OBJ_HANDLE make_hardware_object(const std::string& name, const std::string& file) {
    build(name + "_chip", "Chip", "Physical", {{"Path", "s", text(file)}});
    build(name + "_acc", "Accessor", "Physical",
          {{"Chip", "s", text(name + "_chip")},
           {"Kind", "s", text("raw")},
           {"Type", "s", text("u")},
           {"Offset", "u", bytes_of(0)},
           {"Width", "u", bytes_of(4)}});
    const OBJ_HANDLE handle =
        build(name, kClassName, "Logical", {{kProperty, "u", bytes_of(0), "r", name + "_acc"}});
    lom_set_writable(handle, OBJECT_READ_WRITE);
    return handle;
}

OBJ_HANDLE make_formula_object(const std::string& name, const std::string& formula,
                               const std::string& inputs) {
    const std::string reference("s\0\0p", 4);
    const OBJ_HANDLE handle = build(name, "Expression", "Logical",
                                    {{"X", reference, text(inputs + "." + kProperty)},
                                     {"Y", reference, text(inputs + ".Value1")},
                                     {"Z", reference, text(inputs + ".Value2")},
                                     {"Xcache", "u", bytes_of(0)},
                                     {"Ycache", "u", bytes_of(0)},
                                     {"Zcache", "u", bytes_of(0)},
                                     {"Formula", "s", text(formula)},
                                     {kProperty, "d", std::string(sizeof(gdouble), '\0'), "r"}});
    lom_set_writable(handle, OBJECT_READ_WRITE);
    return handle;
}

long pool_used() {
    char* report = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&report, &length);
    shm_dump(stream);
    std::fclose(stream);
    const char* line = std::strstr(report, "used  : ");
    const long used = line == nullptr ? -1 : std::atol(line + std::strlen("used  : "));
    std::free(report);
    return used;
}

}  // namespace mox::bench
