// One row of the logical tree: name, icon name and, for devices, their states.
import QtQuick
import QtQuick.Controls
import PluginTopologyMgt

ItemDelegate {
    required property TreeView treeView
    required property bool isTreeNode
    required property bool expanded
    required property bool hasChildren
    required property int depth
    required property int row
    required property var model
    required property var typeRole
    required property var displayIconRole
    required property var isConnectedRole
    required property var isRecordingRole

    readonly property bool isDevice: typeRole === LogicalNode.Camera || typeRole === LogicalNode.ExternalDevice
    readonly property string stateText: !isDevice ? ""
        : (isConnectedRole ? qsTr("online") : qsTr("offline")) + (isRecordingRole ? qsTr(", recording") : "")

    implicitWidth: treeView.width
    leftPadding: 8 + depth * 18
    text: (hasChildren ? (expanded ? "\u25be " : "\u25b8 ") : "    ") + (model.display ?? "")
          + "  [" + (displayIconRole ?? "") + "]" + (stateText ? "  " + stateText : "")
    onClicked: treeView.toggleExpanded(row)
}
