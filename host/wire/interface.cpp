// Join must come first on a connection; a connection is one module. A status is 0 or a code of the
// object store, the persistence library or the driver library. Names are as the object store and
// the persistence library take them.
#include "wire/interface.hpp"

namespace mox::host::wire {
namespace {

constexpr const char* introspection = R"(
<node>
  <interface name='mox.Owner1'>
    <method name='Join'>
      <arg name='module_name' type='s' direction='in'/>
      <arg name='module_type' type='i' direction='in'/>
      <arg name='pid' type='i' direction='in'/>
      <arg name='word_bits' type='u' direction='in'/>
      <arg name='record_layout' type='s' direction='in'/>
      <arg name='bitmap_id' type='i' direction='out'/>
      <arg name='queue_id' type='i' direction='out'/>
      <arg name='class_base' type='t' direction='out'/>
      <arg name='class_tree' type='t' direction='out'/>
      <arg name='read_stamps' type='t' direction='out'/>
      <arg name='loss_table' type='t' direction='out'/>
      <arg name='pool_id' type='i' direction='out'/>
      <arg name='pool_bytes' type='t' direction='out'/>
    </method>
    <method name='Leave'/>
    <method name='CopyObject'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='status' type='i' direction='out'/>
      <arg name='record' type='ay' direction='out'/>
    </method>
    <method name='ListObjects'>
      <arg name='class_name' type='s' direction='in'/>
      <arg name='object_names' type='as' direction='out'/>
    </method>
    <method name='Listen'>
      <arg name='class_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
    </method>
    <method name='Refresh'/>
    <method name='RemoteGet'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='offset' type='i' direction='in'/>
      <arg name='length' type='u' direction='in'/>
      <arg name='status' type='i' direction='out'/>
      <arg name='data' type='ay' direction='out'/>
    </method>
    <method name='RemoteSet'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='value' type='v' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='Apply'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='value' type='v' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='PersistMode'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='mode' type='i' direction='out'/>
    </method>
    <method name='SaveValue'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='name' type='s' direction='in'/>
      <arg name='type' type='s' direction='in'/>
      <arg name='data' type='ay' direction='in'/>
      <arg name='has_prefix' type='b' direction='in'/>
      <arg name='mode' type='i' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='ReadSaved'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='name' type='s' direction='in'/>
      <arg name='has_prefix' type='b' direction='in'/>
      <arg name='mode' type='i' direction='in'/>
      <arg name='status' type='i' direction='out'/>
      <arg name='type' type='s' direction='out'/>
      <arg name='data' type='ay' direction='out'/>
    </method>
    <method name='IsSaved'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='name' type='s' direction='in'/>
      <arg name='has_prefix' type='b' direction='in'/>
      <arg name='mode' type='i' direction='in'/>
      <arg name='status' type='i' direction='out'/>
      <arg name='is_saved' type='b' direction='out'/>
    </method>
    <method name='StatusSave'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='state' type='u' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='StatusRemove'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='RestoreDefaults'/>
    <method name='PlugBoard'>
      <arg name='board_name' type='s' direction='in'/>
    </method>
    <method name='UnplugBoard'>
      <arg name='board_name' type='s' direction='in'/>
      <arg name='position' type='u' direction='out'/>
      <arg name='unsaved' type='as' direction='out'/>
    </method>
    <method name='BoardState'>
      <arg name='board_name' type='s' direction='in'/>
      <arg name='is_plugged' type='b' direction='out'/>
      <arg name='position' type='u' direction='out'/>
    </method>
    <method name='ListBoards'>
      <arg name='board_names' type='as' direction='out'/>
    </method>
    <method name='CopiesDropped'>
      <arg name='position' type='u' direction='in'/>
    </method>
    <method name='ListRoutes'>
      <arg name='routes' type='a(ayii)' direction='out'/>
    </method>
    <method name='ObjectInfos'>
      <arg name='class_name' type='s' direction='in'/>
      <arg name='objects' type='a(ssssuuuub)' direction='out'/>
    </method>
    <method name='ClassInfos'>
      <arg name='classes' type='a(sssuuu)' direction='out'/>
    </method>
    <method name='PropertyInfos'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='properties' type='a(ssisuuuiast)' direction='out'/>
    </method>
    <method name='ModuleInfos'>
      <arg name='modules' type='a(siiiixuuutttt)' direction='out'/>
    </method>
    <method name='LockInfos'>
      <arg name='all' type='b' direction='in'/>
      <arg name='locks' type='a(siiiibai)' direction='out'/>
    </method>
    <method name='PoolInfo'>
      <arg name='total' type='t' direction='out'/>
      <arg name='used' type='t' direction='out'/>
      <arg name='largest' type='t' direction='out'/>
      <arg name='blocks' type='t' direction='out'/>
      <arg name='object_bytes' type='t' direction='out'/>
      <arg name='class_bytes' type='t' direction='out'/>
      <arg name='removed_objects' type='t' direction='out'/>
    </method>
    <method name='OperatorSet'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='value' type='v' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='OperatorOverride'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='value' type='v' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='OperatorCancel'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='IsOverrideLimited'>
      <arg name='is_limited' type='b' direction='out'/>
    </method>
    <method name='MayOverride'>
      <arg name='object_name' type='s' direction='in'/>
      <arg name='property_name' type='s' direction='in'/>
      <arg name='status' type='i' direction='out'/>
    </method>
    <method name='EventsSent'>
      <arg name='count' type='t' direction='out'/>
    </method>
    <method name='PoolUsage'>
      <arg name='total' type='u' direction='out'/>
      <arg name='used' type='u' direction='out'/>
    </method>
    <signal name='ObjectsGone'>
      <arg name='position' type='u'/>
    </signal>
  </interface>
</node>
)";

}  // namespace

GDBusInterfaceInfo* interface_info() {
    // Kept for the process's life: registrations refer to it.
    static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(introspection, nullptr);
    return g_dbus_node_info_lookup_interface(node, interface_name);
}

}  // namespace mox::host::wire
