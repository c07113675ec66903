#pragma once

class QObject;
class QQmlContext;

// QML registration for a host of the PluginTopologyMgt plug-in. The module
// itself stays on Qt Core and Gui, so it cannot register anything with a QML
// engine, nor use the QQmlContext it is handed in Init; a host that shows the
// module's models in QML links this small library and makes one call, after
// InitialPluginBase and before it loads any QML that uses the names below:
//
//     TopologyQml::registerTypes(plugin, engine.rootContext());
//
// It registers, under the QML module "PluginTopologyMgt" 1.0, two types that
// carry only enumerations (they cannot be created):
// - DeviceNode: the node kinds (DeviceNode.CameraNode, StationNode,
//   RemovedCameraNode, RemovedCameraFolderNode), the camera types
//   (DeviceNode.UnknownCamera, BoxCamera ... MultiAngleCamera) and the device
//   roles (DeviceNode.nameRole ...);
// - LogicalNode: the logical node types (LogicalNode.Folder, Camera,
//   DigitalInput, DigitalOutput, LocalDBCamera, StationIoDevice,
//   ExternalDevice) and the logical roles.
// The enumerations are read from the loaded plug-in's own models, so their
// values are always the module's. With a context, the plug-in is also set
// there as the context property "pluginTopologyMgt".
namespace TopologyQml {

inline constexpr char kUri[] = "PluginTopologyMgt";
inline constexpr char kContextProperty[] = "pluginTopologyMgt";

// False (and nothing registered) when the object is not an initialised
// PluginTopologyMgt. Registering twice is harmless.
bool registerTypes(QObject* plugin, QQmlContext* context = nullptr);

} // namespace TopologyQml
