// From a checked profile to the classes and objects of the object model, in the pool's owner.
#ifndef MOXHOST_MODEL_MODEL_BUILD_HPP
#define MOXHOST_MODEL_MODEL_BUILD_HPP

#include <moxlib/moxbase.h>

#include <string>
#include <vector>

#include "model/model_index.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// The handle under which the object model knows a module: the same for equal names, valid for ever.
MDL_HANDLE module_handle(const std::string& module_name);

// Whether the module has the object's class, and so may write the object.
bool is_owned_by(const ObjectDef& object, const std::string& module_name);

// Whether the persistence library has a store open; values and save states are taken from it then.
enum class Saved { none, restore };

// Registers every class, then builds every object that is there at the start up to ready. The pool
// exists and the semaphore hooks are installed. owner_name: the module that has the classes without
// one. Once in a process's life. Returns an empty string, or why the model could not be built: the
// pool or the semaphores ran out; then the pool is to be thrown away.
std::string build_model(const ModelIndex& model, const std::string& owner_name, Saved saved);

// Builds objects of registered classes up to ready; the mutex objects among them first. What they
// lead to is built already, or among them. Returns an empty string, or why it could not go on: then
// those before are built, and the one that failed is in the object table as well, never to be
// ready; all of them are to be removed.
std::string build_objects(const std::vector<const ObjectDef*>& objects,
                          const std::string& owner_name, Saved saved);

}  // namespace mox::host

#endif
