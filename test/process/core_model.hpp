// A small object model in a real pool, as its owner makes it and as the other processes meet it.
//
//   Role member{"member", [](Channel& test) {
//       const OBJ_HANDLE fan = receive_object(test);    attaches the pool first
//       EXPECT_EQ(read_number(fan, "Speed"), 1200U);
//   }};
//   PoolOwner owner;                                    after the last role is made
//   make_object("Fan", "Fan1", {number("Speed", 1200)});
//   send_object(member, "Fan1", kMemberId, FALSE);
#ifndef MOX_TEST_PROCESS_CORE_MODEL_HPP
#define MOX_TEST_PROCESS_CORE_MODEL_HPP

#include <lom.h>
#include <shmem.h>

#include <filesystem>
#include <string>
#include <vector>

#include "roles.hpp"

namespace mox::test {

// Bitmap id of the one module of most tests.
inline constexpr gint32 kMemberId = 3;

// Lets this process, owner or not, know how large the pool is: the least size that there is.
void choose_pool_size();

// This process as the owner of a pool with the platform's semaphores. The library's state is that
// of the process, so a process is an owner once: run the tests one by one, as ctest does.
class PoolOwner {
public:
    PoolOwner();
    ~PoolOwner();
    PoolOwner(const PoolOwner&) = delete;
    PoolOwner& operator=(const PoolOwner&) = delete;
};

// A property in the making: the value in serialized form.
struct Property {
    std::string name;
    std::string type;
    std::string bytes;
    std::string accessor;
};

Property number(const std::string& name, guint32 value, const std::string& accessor = "");
Property text(const std::string& name, const std::string& value);

// Makes an object of this pool owner's, ready to be used. The record is the object table's.
OBJECT_HEAD_S* make_object(const std::string& class_name, const std::string& object_name,
                           const std::vector<Property>& properties,
                           const std::string& mutex_object = "");

// The same for one of the driver library's objects.
OBJECT_HEAD_S* make_physical_object(const std::string& class_name, const std::string& object_name,
                                    const std::vector<Property>& properties);

// Stores a value, as the owner; fails the test when that is refused.
void write_text(const std::string& object_name, const std::string& property_name,
                const std::string& value);
void write_number(const std::string& object_name, const std::string& property_name, guint32 value);

// Reads a value; fails the test when that is refused or the type is another.
std::string read_text(OBJ_HANDLE object, const std::string& property_name);
guint32 read_number(OBJ_HANDLE object, const std::string& property_name);
guint32 read_live_number(OBJ_HANDLE object, const std::string& property_name);

// Where the pool's segment lies in this process, as the system tells; zeros when it does not.
struct PoolMapping {
    guint64 address;
    guint64 segment;
};
PoolMapping find_pool();

// Attaches the owner's pool in a role; throws when it is not at its address then.
void attach_pool();

// Sends a copy of an object's record to a role, which it is to be published by.
void send_object(Role& role, const std::string& object_name, gint32 module_id, gboolean writable);

// Waits for the record of send_object and attaches the pool. Returns it unpublished, or its handle.
OBJECT_HEAD_S receive_record(Channel& test);
OBJ_HANDLE receive_object(Channel& test);

// True when an address lies in the pool.
bool is_in_pool(const void* address);

// A file with a number in it, such as the kernel's drivers have, and an accessor "FanSpeed" for it
// made of physical objects.
class NumberFile {
public:
    NumberFile();
    ~NumberFile();
    NumberFile(const NumberFile&) = delete;
    NumberFile& operator=(const NumberFile&) = delete;

    void put(guint32 value) const;
    void make_accessor() const;

private:
    std::filesystem::path directory_;
};

inline const std::string kAccessorName = "FanSpeed";

}  // namespace mox::test

#endif
