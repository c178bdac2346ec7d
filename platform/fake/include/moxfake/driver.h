// Control of the fake driver library: what the code under test asked of the hardware, and what the
// hardware answers.
//
// What holds: an accessor that no test programmed is unknown to reads; writes are accepted until a
// test says otherwise. create_has_property and free_has_property do the real work. Every function
// may be called from any thread. Plans count calls from the moment they are made: n = 1 is the
// next.
#ifndef MOXFAKE_DRIVER_H
#define MOXFAKE_DRIVER_H

#include <moxplat/driver.h>

#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace mox::fake {

// Forgets programs, plans and records. Records of create_has_property that are alive stay counted.
void driver_reset();

// --- hardware values

// Reads of the accessor give these bytes: all of them (8 at most) for a whole read, a stretch of
// them otherwise, DRIVER_ERR_RANGE for a stretch beyond them.
void driver_program_bytes(const std::string& accessor, const std::vector<guint8>& bytes);

// The same for a number in this machine's byte order.
template <typename Number>
void driver_program_value(const std::string& accessor, Number value) {
    static_assert(std::is_arithmetic_v<Number>);
    const auto* bytes = reinterpret_cast<const guint8*>(&value);
    driver_program_bytes(accessor, {bytes, bytes + sizeof value});
}

// Reads of the accessor give this code and no bytes; DRIVER_OK makes its bytes count again.
void driver_fail_reads_of(const std::string& accessor, gint32 code);

// Writes to the accessor give this code; DRIVER_OK accepts them again.
void driver_fail_writes_of(const std::string& accessor, gint32 code);

// The n-th read or write of any accessor from now gives this code; with `from_then_on` all later
// ones do, too. n = 0 ends it.
void driver_fail_call(guint n, gint32 code, bool from_then_on = false);

// A call as it came, failing ones included, and how many of the fake semaphores its thread held
// meanwhile.
struct DriverRead {
    std::string accessor;
    gint32 offset = 0;
    gsize length = 0;
    gsize semaphores_held = 0;
};
struct DriverWrite {
    std::string accessor;
    gint32 offset = 0;
    std::vector<guint8> bytes;
    gsize semaphores_held = 0;
};

std::vector<DriverRead> driver_reads();
std::vector<DriverRead> driver_reads_of(const std::string& accessor);
std::vector<DriverWrite> driver_writes();

// --- named values

// The n-th create_has_property from now returns null; 0 ends it.
void driver_fail_property(guint n);

// Calls of create_has_property so far.
gsize driver_property_calls();

// Records made and not yet freed, since the process began.
gsize driver_live_properties();

// --- physical objects

// A property as it was handed over; the value in GVariant text form with its type, such as "uint32
// 3".
struct PhysicalProperty {
    std::string name;
    std::string value;
    bool operator==(const PhysicalProperty&) const = default;
};

// One table of create_physical_object: its keys, and each list in its order.
using PhysicalTable = std::map<std::string, std::vector<PhysicalProperty>>;

// The tables of all calls, in order.
std::vector<PhysicalTable> driver_tables();

// The positions of all delete_physical_object calls, in order.
std::vector<guint32> driver_deleted_positions();

// What dump_physical_object prints, line end included.
inline constexpr const char* driver_dump_text = "fake physical objects\n";
gsize driver_dumps();

}  // namespace mox::fake

#endif
