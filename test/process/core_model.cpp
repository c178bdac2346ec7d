// What holds: only exported functions are called, as a host would, and every object is complete and
// ready before its name is used.
#include "core_model.hpp"

#include <moxplat/osal.h>
#include <pub.h>
#include <stdlib.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include "captured_output.hpp"

namespace mox::test {
namespace {

constexpr guint32 kPosition = 1;

constexpr char kPoolMebibytes[] = "8";
constexpr guintptr kPoolBytes = 8U << 20;

struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;

bool has_been_owner = false;

OBJECT_HEAD_S* make_object_of_type(const std::string& class_name, const std::string& object_name,
                                   const std::vector<Property>& properties,
                                   const std::string& mutex_object, const char* object_type) {
    auto* const object = static_cast<OBJECT_HEAD_S*>(
        lom_create_object_embryo(static_cast<guint32>(properties.size()), object_name.c_str(),
                                 class_name.c_str(), mutex_object.c_str(), object_type, kPosition));
    if (object == nullptr) throw std::runtime_error("no room in the pool for " + object_name);
    guint32 index = 0;
    for (const Property& property : properties) {
        CONST_TLV_S tlv = {};
        g_strlcpy(tlv.type, property.type.c_str(), sizeof(tlv.type));
        tlv.size = static_cast<guint32>(property.bytes.size());
        tlv.data = property.bytes.data();
        lom_init_property(object, index, property.name.c_str(), &tlv, "rw");
        if (!property.accessor.empty()) {
            lom_init_accessor(object, index, property.accessor.c_str(),
                              static_cast<guint32>(property.accessor.size()));
        }
        ++index;
    }
    lom_mutex_object(object);
    lom_add_object(object);
    lom_ready_object(object);
    return object;
}

// The value, or null with a failure.
VariantPtr read_value(OBJ_HANDLE object, const std::string& property_name, gboolean live,
                      const GVariantType* type) {
    GVariant* value = nullptr;
    const gint32 code = lom_get_property_value(object, property_name.c_str(), live, &value, FALSE);
    VariantPtr owned{value};
    if (code != MOX_OK || !g_variant_is_of_type(value, type)) {
        ADD_FAILURE() << "reading " << property_name << " gave code " << code;
        return nullptr;
    }
    return owned;
}

guint32 number_of(const VariantPtr& value) {
    return value ? g_variant_get_uint32(value.get()) : 0;
}

}  // namespace

void choose_pool_size() {
    setenv(SHM_SIZE_VARIABLE, kPoolMebibytes, 1);
}

PoolOwner::PoolOwner() {
    if (has_been_owner) {
        throw std::runtime_error(
            "a process owns one pool in its life: run each test as a process of its own (ctest)");
    }
    has_been_owner = true;
    pub_log_init(nullptr, DebugLevel::module());
    choose_pool_size();
    shm_owned_shmem();
    if (shm_create() != MOX_OK) throw std::runtime_error("the pool cannot be made");
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
}

PoolOwner::~PoolOwner() {
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
}

Property number(const std::string& name, guint32 value, const std::string& accessor) {
    std::string bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return {name, "u", bytes, accessor};
}

Property text(const std::string& name, const std::string& value) {
    return {name, "s", value + '\0', ""};
}

OBJECT_HEAD_S* make_object(const std::string& class_name, const std::string& object_name,
                           const std::vector<Property>& properties,
                           const std::string& mutex_object) {
    return make_object_of_type(class_name, object_name, properties, mutex_object, "Logical");
}

OBJECT_HEAD_S* make_physical_object(const std::string& class_name, const std::string& object_name,
                                    const std::vector<Property>& properties) {
    return make_object_of_type(class_name, object_name, properties, "", "Physical");
}

void write_text(const std::string& object_name, const std::string& property_name,
                const std::string& value) {
    EXPECT_EQ(lom_realloc_property(object_name.c_str(), property_name.c_str(), "s",
                                   static_cast<guint32>(value.size() + 1), value.c_str()),
              MOX_OK);
}

void write_number(const std::string& object_name, const std::string& property_name, guint32 value) {
    EXPECT_EQ(lom_realloc_property(object_name.c_str(), property_name.c_str(), "u", sizeof(value),
                                   &value),
              MOX_OK);
}

std::string read_text(OBJ_HANDLE object, const std::string& property_name) {
    const VariantPtr value = read_value(object, property_name, FALSE, G_VARIANT_TYPE_STRING);
    return value ? g_variant_get_string(value.get(), nullptr) : "";
}

guint32 read_number(OBJ_HANDLE object, const std::string& property_name) {
    return number_of(read_value(object, property_name, FALSE, G_VARIANT_TYPE_UINT32));
}

guint32 read_live_number(OBJ_HANDLE object, const std::string& property_name) {
    return number_of(read_value(object, property_name, TRUE, G_VARIANT_TYPE_UINT32));
}

void send_object(Role& role, const std::string& object_name, gint32 module_id, gboolean writable) {
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_copy_object(object_name.c_str(), &size, &copy, module_id, writable) != MOX_OK ||
        size != sizeof(OBJECT_HEAD_S)) {
        throw std::runtime_error(object_name + " cannot be copied");
    }
    role.tell(*static_cast<OBJECT_HEAD_S*>(copy));
    g_free(copy);
}

PoolMapping find_pool() {
    char name[32];
    std::snprintf(name, sizeof(name), "/SYSV%08x", static_cast<unsigned>(SHM_POOL_KEY));
    std::ifstream maps{"/proc/self/maps"};
    std::string line;
    while (std::getline(maps, line)) {
        PoolMapping mapping = {};
        if (line.find(name) != std::string::npos &&
            std::sscanf(line.c_str(), "%" SCNx64 "-%*x %*s %*x %*s %" SCNu64, &mapping.address,
                        &mapping.segment) == 2) {
            return mapping;
        }
    }
    return {};
}

void attach_pool() {
    choose_pool_size();
    shm_app_init();
    if (find_pool().address != SHM_POOL_ADDRESS) throw std::runtime_error("no pool attached");
}

OBJECT_HEAD_S receive_record(Channel& test) {
    const auto record = test.hear<OBJECT_HEAD_S>();
    attach_pool();
    return record;
}

OBJ_HANDLE receive_object(Channel& test) {
    const OBJECT_HEAD_S record = receive_record(test);
    const OBJ_HANDLE object = lom_create_object(sizeof(record), &record);
    EXPECT_NE(object, 0);
    return object;
}

bool is_in_pool(const void* address) {
    const guintptr at = reinterpret_cast<guintptr>(address) - SHM_POOL_ADDRESS;
    return at < kPoolBytes;
}

NumberFile::NumberFile() {
    std::string name = (std::filesystem::temp_directory_path() / "process-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory " + name);
    directory_ = name;
}

NumberFile::~NumberFile() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void NumberFile::put(guint32 value) const {
    std::ofstream{directory_ / "fan1_input"} << value << '\n';
}

void NumberFile::make_accessor() const {
    make_physical_object("Chip", "FanChip", {text("Path", directory_.string())});
    make_physical_object("Accessor", kAccessorName,
                         {text("Chip", "FanChip"), text("File", "fan1_input"),
                          text("Kind", "attribute"), text("Type", "u")});
}

}  // namespace mox::test
