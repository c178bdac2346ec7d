// A C++20 program that knows nothing but the public headers.
#include <classnode.h>
#include <classtree.h>
#include <expression.h>
#include <ipcmsg.h>
#include <lom.h>
#include <moxlib/moxbase.h>
#include <moxplat/osal.h>
#include <mxroute.h>
#include <pub.h>
#include <shmem.h>

#include "exported_calls.h"
#include "namespace_for_c.h"

int main() {
    return mox_test_enter_ipc_namespace() != 0 && call_every_function() == 0 ? 0 : 1;
}
