/* lom.h: the object store, whole. Each header beside it can be included alone. */
#ifndef MOX_LOM_H
#define MOX_LOM_H

#include <lom/alias.h>
#include <lom/collection.h>
#include <lom/event.h>
#include <lom/hardware.h>
#include <lom/lifecycle.h>
#include <lom/lock.h>
#include <lom/object.h>
#include <lom/persist.h>
#include <lom/property.h>
#include <lom/registry.h>
#include <lom/sharing.h>

#endif
