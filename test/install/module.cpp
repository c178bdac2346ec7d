// module: a user of the installed libmoxhost, in C++20. Joins the owner of the installed example
// profile, lists the objects, and leaves; ends with 0 when the profile's are among them.
//
//   module <run directory>
#include <moxhost/moxhost.h>
#include <moxhost/operator.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

struct FreeStrings {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: module <run directory>\n");
        return 2;
    }
    GError* error = nullptr;
    MoxHostModule* const module = moxhost_join(argv[1], "installed_cpp", MODULE_APP, &error);
    std::unique_ptr<gchar*, FreeStrings> names;
    if (module != nullptr) {
        names.reset(moxhost_list_objects(module, nullptr, &error));
        moxhost_leave(module);
    }
    if (error != nullptr) {
        std::fprintf(stderr, "module: %s\n", error->message);
        g_error_free(error);
        return 1;
    }
    int known = 0;
    for (const char* wanted : {"system", "memory", "threshold"}) {
        known += g_strv_contains(names.get(), wanted) ? 1 : 0;
    }
    std::printf("%d of 3 objects of the profile found\n", known);
    return known == 3 ? 0 : 1;
}
