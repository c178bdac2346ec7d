// The profile loader: a file's text to the description of a model, with all its checks.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"
#include "profile/profile.hpp"

namespace {

using mox::fuzz::promise;

// A file in memory, under a path that the loader can open.
class MemoryFile {
public:
    MemoryFile() : descriptor_(memfd_create("profile", MFD_CLOEXEC)) {
        promise(descriptor_ >= 0, "the system gives a file in memory");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void put(const std::uint8_t* data, std::size_t size) const {
        promise(write(descriptor_, data, size) == static_cast<ssize_t>(size),
                "a file in memory takes all bytes");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

void look_at_faults(const mox::host::CheckedProfile& checked) {
    for (const std::string& fault : checked.faults) {
        promise(fault.rfind(checked.file + ": ", 0) == 0, "a fault begins with the file's name");
        promise(fault.find('\n') == std::string::npos, "a fault is one line");
    }
}

void look_at_value(const mox::host::PropertyValue& property) {
    promise(!property.name.empty() && property.name.size() <= mox::host::max_name_bytes,
            "a property's name has 1 to 31 bytes");
    if (property.kind == mox::host::PropertyKind::reference) {
        return;
    }
    const GVariantType* const type = mox::fuzz::type_named(property.type);
    promise(type != nullptr, "a property's type is one that values can have");
    const mox::fuzz::Bytes bytes(property.bytes.begin(), property.bytes.end());
    promise(g_variant_is_normal_form(mox::fuzz::untrusted(type, bytes).get()) != FALSE,
            "a property's bytes are a value of its type");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file;
    file.put(data, size);
    const mox::host::CheckedProfile checked = mox::host::check_profile(file.path());
    look_at_faults(checked);
    if (checked.faults.empty()) {
        for (const mox::host::ObjectDef& object : checked.profile.objects) {
            promise(!object.name.empty() && object.name.size() <= mox::host::max_name_bytes,
                    "an object's name has 1 to 31 bytes");
            for (const mox::host::PropertyValue& property : object.properties) {
                look_at_value(property);
            }
        }
    }
    return 0;
}
