// The viewer's window. Every model comes from the plug-in's getters; the views
// follow the calls described in docs/host-guide.md.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import PluginTopologyMgt

ApplicationWindow {
    id: root
    width: 1280
    height: 800
    visible: true
    title: qsTr("Topology viewer: %1").arg(viewerSession.scenarioName)

    readonly property var retrievedFlags: [
        { name: "topologyRetrieved", done: pluginTopologyMgt.topologyRetrieved },
        { name: "nodeInfoRetrieved", done: pluginTopologyMgt.nodeInfoRetrieved },
        { name: "serverInfoRetrieved", done: pluginTopologyMgt.serverInfoRetrieved },
        { name: "locationRetrieved", done: pluginTopologyMgt.locationRetrieved },
        { name: "logicalTreeRetrieved", done: pluginTopologyMgt.logicalTreeRetrieved },
        { name: "camStatusRetrieved", done: pluginTopologyMgt.camStatusRetrieved }
    ]
    readonly property int retrievedCount: retrievedFlags.filter(flag => flag.done).length
    readonly property bool allRetrieved: retrievedCount === retrievedFlags.length

    // Each getter builds a new view owned by the object passed: the window.
    readonly property var deviceModel: pluginTopologyMgt.getFilteredStandardTopologyModel(root)
    readonly property var flatModel: pluginTopologyMgt.getTreeToListProxyModel(root, deviceModel)
    readonly property var logicalModel: pluginTopologyMgt.getLogicalTreeSortFilterModel(root)
    readonly property var webPageModel: pluginTopologyMgt.getWebPageTreeSortFilterModel(root)

    Component.onCompleted: {
        deviceModel.sortModel()
        webPageModel.setSort(Qt.AscendingOrder)
    }

    onAllRetrievedChanged: {
        if (!allRetrieved)
            return
        deviceTree.expandRecursively()
        logicalTree.expandRecursively()
        viewerSession.fullTreeLaidOut(deviceTree)
        if (viewerSession.replayOnRetrieval)
            viewerSession.startTimeline()
    }

    header: ToolBar {
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 8
            anchors.rightMargin: 8
            TextField {
                id: searchBox
                objectName: "searchBox"
                placeholderText: qsTr("Search logical tree and web pages")
                Layout.preferredWidth: 320
                onTextChanged: {
                    root.logicalModel.filter(text)
                    root.webPageModel.setFilterFixedString(text)
                }
            }
            Button {
                objectName: "replayButton"
                text: viewerSession.replaying ? qsTr("Replaying...") : qsTr("Replay timeline")
                enabled: root.allRetrieved && !viewerSession.replaying && viewerSession.timelineLength > 0
                onClicked: viewerSession.startTimeline()
            }
            Label {
                objectName: "timelineLabel"
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: viewerSession.replaying || viewerSession.replayed
                      ? qsTr("Broadcast %1 of %2: %3").arg(viewerSession.broadcastsSent)
                            .arg(viewerSession.timelineLength).arg(viewerSession.lastBroadcast)
                      : qsTr("Timeline: %1 broadcasts").arg(viewerSession.timelineLength)
            }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 8

        // The retrieval's progress, from the six retrieved flags, while it runs.
        Frame {
            objectName: "progressPane"
            visible: !root.allRetrieved
            Layout.fillWidth: true
            RowLayout {
                anchors.fill: parent
                Label { text: qsTr("Retrieving %1 of 6").arg(root.retrievedCount) }
                ProgressBar {
                    Layout.preferredWidth: 200
                    from: 0
                    to: root.retrievedFlags.length
                    value: root.retrievedCount
                }
                Repeater {
                    model: root.retrievedFlags
                    Label {
                        required property var modelData
                        text: (modelData.done ? "\u2713 " : "\u2026 ") + modelData.name
                        opacity: modelData.done ? 1.0 : 0.5
                    }
                }
            }
        }

        GridLayout {
            columns: 2
            columnSpacing: 8
            rowSpacing: 8
            Layout.fillWidth: true
            Layout.fillHeight: true

            ViewPane {
                title: qsTr("Device tree")
                // Qt's stock delegate: it shows the "display" role.
                TreeView {
                    id: deviceTree
                    objectName: "deviceTree"
                    anchors.fill: parent
                    clip: true
                    model: root.deviceModel
                    delegate: TreeViewDelegate {}
                }
            }

            ViewPane {
                title: qsTr("Flat list (click to expand or collapse)")
                ListView {
                    id: flatList
                    objectName: "flatList"
                    anchors.fill: parent
                    clip: true
                    model: root.flatModel
                    delegate: ItemDelegate {
                        required property int index
                        required property var model
                        required property string childIndicatorRole
                        required property int levelRole
                        required property var connectedRole
                        width: ListView.view.width
                        leftPadding: 8 + levelRole * 18
                        text: ({ collapsed: "\u25b8 ", expanded: "\u25be ", none: "    " })[childIndicatorRole]
                              + (model.display ?? "") + (connectedRole === false ? qsTr("  (offline)") : "")
                        onClicked: {
                            if (childIndicatorRole === "collapsed")
                                root.flatModel.expand(index)
                            else if (childIndicatorRole === "expanded")
                                root.flatModel.collapse(index)
                        }
                    }
                }
            }

            ViewPane {
                title: qsTr("Logical tree (standard view)")
                TreeView {
                    id: logicalTree
                    objectName: "logicalTree"
                    anchors.fill: parent
                    clip: true
                    model: root.logicalModel
                    delegate: LogicalTreeRow {}
                }
            }

            ViewPane {
                title: qsTr("Web pages")
                WebPageList {
                    objectName: "webPages"
                    anchors.fill: parent
                    webPageModel: root.webPageModel
                }
            }
        }
    }
}
