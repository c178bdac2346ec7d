// The persistence library's own log line names the file and the cause; the line here says what it
// means for this process.
#include "owner/store.hpp"

#include <glib.h>
#include <moxplat/persist_store.h>

#include <cstdio>

namespace mox::host {
namespace {

// Tells what is lost when the file of a mode was damaged or cannot be used.
void tell(PER_MODE_E mode, const std::string& directory, const char* contents, const char* option) {
    const gint32 status = cfg_store_opened(mode);
    if (status == PER_ERROR_DATA_INVALID) {
        std::fprintf(stderr,
                     "moxd: a damaged file of the store in %s was kept aside as NAME.damaged-N and "
                     "begun anew; the profile's values stand for the %s that it held\n",
                     directory.c_str(), contents);
    } else if (status != PER_OK) {
        std::fprintf(stderr,
                     "moxd: the store in %s cannot be opened: %s (%d); %s are neither saved nor "
                     "restored, and there is no restore to defaults; mend it and start anew, or "
                     "give another %s\n",
                     directory.c_str(), cfg_error_text(status), status, contents, option);
    }
}

}  // namespace

Store::Store(const std::string& state_dir, const std::string& volatile_dir) {
    const gint32 status = cfg_store_open(state_dir.c_str(), volatile_dir.c_str());
    is_open_ = cfg_store_opened(PER_MODE_PERMANENT) != PER_ERROR_CFG_INIT_FAIL;
    if (is_open_) {
        tell(PER_MODE_PERMANENT, state_dir, "power-off and permanent values and save states",
             "--state-dir");
        tell(PER_MODE_RESET, volatile_dir, "reset values", "--volatile-dir");
    } else {
        std::fprintf(stderr,
                     "moxd: the store in %s and %s cannot be opened: %s (%d); nothing is saved or "
                     "restored; mend it, or give another --state-dir or --volatile-dir\n",
                     state_dir.c_str(), volatile_dir.c_str(), cfg_error_text(status), status);
    }
}

Store::~Store() {
    if (is_open_) {
        cfg_store_close();
    }
}

}  // namespace mox::host
