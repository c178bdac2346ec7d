// Internal view of the hooks that the hosting framework installs. Written at start-up, read by any
// thread.
#ifndef MOX_LOM_HOOKS_HPP
#define MOX_LOM_HOOKS_HPP

#include <lom/object.h>
#include <lom/sharing.h>

extern SemCreatefunc g_sem_create_func;
extern SemFreefunc g_sem_free_func;
extern CopyObjectFunc g_copy_object_func;
extern RemoteSetPropertyFunc g_remote_set_func;
extern RemoteGetPropertyFunc g_remote_get_func;
extern RemoteSavePropertyFunc g_remote_save_property_func;
extern RemoteGetSavedValueFunc g_remote_get_saved_value_func;
extern OverrideCheckFunc g_override_check_func;
extern MOX_MODULE_TYPE g_module_type;

#endif
