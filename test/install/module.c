/* module: a user of the installed libmoxhost, in C99. Joins the owner of the installed example
 * profile, reads a value that the owner read from the machine, and leaves; ends with 0 when all of
 * it worked.
 *
 *   module <run directory> */
#include <lom.h>
#include <moxhost/moxhost.h>
#include <moxhost/operator.h>
#include <stdio.h>

int main(int argc, char** argv) {
    GError* error = NULL;
    MoxHostModule* module;
    GVariant* value = NULL;
    guint32 total = 0;
    if (argc != 2) {
        fprintf(stderr, "usage: module <run directory>\n");
        return 2;
    }
    module = moxhost_join(argv[1], "installed_c", MODULE_APP, &error);
    if (module == NULL) {
        fprintf(stderr, "module: %s\n", error->message);
        g_error_free(error);
        return 1;
    }
    if (lom_get_property_value(lom_get_object_handle("memory"), "Total", FALSE, &value, FALSE) ==
        MOX_OK) {
        total = g_variant_get_uint32(value);
        g_variant_unref(value);
    }
    moxhost_leave(module);
    printf("memory.Total %u\n", total);
    return total > 0 ? 0 : 1;
}
