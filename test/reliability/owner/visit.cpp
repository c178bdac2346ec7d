// A visitor is not executed anew: it ends with its owner.
#include "visit.hpp"

#include <lom.h>
#include <moxhost/moxhost.h>
#include <unistd.h>

#include <cstdio>

#include "model.hpp"
#include "shared_page.hpp"

namespace mox::kill_owner {
namespace {

MoxHostModule* module = nullptr;

// Gives the exit status: what an owner refuses is a failure, what fails without one is not.
int told(gboolean is_done, GError* error) {
    if (is_done != FALSE) {
        return 0;
    }
    const bool is_gone = g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_LOST) != FALSE ||
                         g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_NO_OWNER) != FALSE ||
                         g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_NO_POOL) != FALSE;
    if (!is_gone) {
        std::fprintf(stderr, "visitor: %s\n", error->message);
    }
    g_error_free(error);
    return is_gone ? 0 : 1;
}

int join(const char* run_dir) {
    GError* error = nullptr;
    module = moxhost_join(run_dir, "visitor", MODULE_APP, &error);
    return told(module != nullptr ? TRUE : FALSE, error);
}

int copy_all() {
    for (const char* const object : {"chip", "level", "Tank", "Store0", "Store1", "Kept0:C"}) {
        lom_get_object_handle(object);
    }
    return 0;
}

int operate(const char* run_dir, const std::string& operation) {
    GError* error = nullptr;
    if (operation == "join") return join(run_dir);
    if (operation == "copy") return copy_all();
    if (operation == "plug") return told(moxhost_plug_board(module, board, &error), error);
    if (operation == "refresh") return told(moxhost_refresh(module, &error), error);
    if (operation == "unplug") {
        return told(moxhost_unplug_board(module, board, nullptr, &error), error);
    }
    if (operation == "leave") {
        moxhost_leave(module);
        return 0;
    }
    return 2;
}

// What an operation needs to find.
int prepare(const char* run_dir, const std::string& operation) {
    if (operation == "join") {
        return 0;
    }
    const int status = join(run_dir);
    if (status != 0 || module == nullptr) {
        return 1;
    }
    if (operation == "leave") {
        copy_all();
    }
    if (operation == "plug") {
        // Refused when it is not plugged, which is as good.
        moxhost_unplug_board(module, board, nullptr, nullptr);
    }
    if (operation == "unplug") {
        moxhost_plug_board(module, board, nullptr);
    }
    return 0;
}

}  // namespace

int visit(const char* run_dir, const std::string& operation) {
    if (prepare(run_dir, operation) != 0) {
        return 1;
    }
    page().visit = Visit::ready;
    while (page().visit != Visit::wanted) {
        usleep(20);
    }
    const int status = operate(run_dir, operation);
    page().visit = Visit::done;
    return status;
}

}  // namespace mox::kill_owner
