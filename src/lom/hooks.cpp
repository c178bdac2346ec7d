// What the hosting framework installs in a process: semaphore hooks, remote hooks, the module's
// type. The setters only store; null uninstalls. They run at start-up, before other threads use the
// store.
#include "lom/hooks.hpp"

#include <lom/registry.h>

SemCreatefunc g_sem_create_func = nullptr;
SemFreefunc g_sem_free_func = nullptr;
CopyObjectFunc g_copy_object_func = nullptr;
RemoteSetPropertyFunc g_remote_set_func = nullptr;
RemoteGetPropertyFunc g_remote_get_func = nullptr;
RemoteSavePropertyFunc g_remote_save_property_func = nullptr;
RemoteGetSavedValueFunc g_remote_get_saved_value_func = nullptr;
OverrideCheckFunc g_override_check_func = nullptr;
MOX_MODULE_TYPE g_module_type = MODULE_APP;

void lom_set_sem_func(SemCreatefunc create_func, SemFreefunc free_func) {
    g_sem_create_func = create_func;
    g_sem_free_func = free_func;
}

void lom_set_copy_func(CopyObjectFunc func) {
    g_copy_object_func = func;
}

void lom_set_modify_func(RemoteSetPropertyFunc func) {
    g_remote_set_func = func;
}

void lom_set_remote_get_property_func(RemoteGetPropertyFunc func) {
    g_remote_get_func = func;
}

void lom_set_remote_save_property_func(RemoteSavePropertyFunc func) {
    g_remote_save_property_func = func;
}

void lom_set_remote_get_saved_value_func(RemoteGetSavedValueFunc func) {
    g_remote_get_saved_value_func = func;
}

void lom_set_override_check_func(OverrideCheckFunc func) {
    g_override_check_func = func;
}

void lom_set_module_type(MOX_MODULE_TYPE module_type) {
    g_module_type = module_type;
}

MOX_MODULE_TYPE lom_get_module_type() {
    return g_module_type;
}
