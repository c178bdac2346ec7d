// A look at an object's record in the owner's table.
#ifndef MOXHOST_OWNER_OBJECT_RECORD_HPP
#define MOXHOST_OWNER_OBJECT_RECORD_HPP

#include <lom.h>

#include <memory>
#include <string>

namespace mox::host {

struct FreeRecord {
    void operator()(OBJECT_HEAD_S* record) const { g_free(record); }
};
using RecordPtr = std::unique_ptr<OBJECT_HEAD_S, FreeRecord>;

// A copy of the record, whose pointers lead into the pool; null for an object that is not in the
// table, or not ready. No module's bit is set. Good for as long as the object is not removed.
inline RecordPtr record_of(const std::string& object) {
    constexpr gint32 no_module = 0;
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_copy_object(object.c_str(), &size, &copy, no_module, FALSE) != MOX_OK) {
        return nullptr;
    }
    return RecordPtr(static_cast<OBJECT_HEAD_S*>(copy));
}

}  // namespace mox::host

#endif
