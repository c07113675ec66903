// The web pages: the model's one top-level row is the root item ("Web page"),
// and the pages are its children, so the list shows the root's children.
import QtQuick
import QtQuick.Controls
import QtQml.Models

ListView {
    id: list
    required property var webPageModel
    // Bumped whenever the top level may have changed, so that the root index is
    // taken again (a search that hides every page hides the root as well).
    property int topLevelRevision: 0

    clip: true
    model: DelegateModel {
        model: list.webPageModel
        rootIndex: {
            list.topLevelRevision
            return list.webPageModel.index(0, 0)
        }
        delegate: ItemDelegate {
            required property string pageName
            required property string url
            required property int iconType
            width: ListView.view.width
            text: pageName + "  " + url + qsTr("  (icon %1)").arg(iconType)
        }
    }

    Connections {
        target: list.webPageModel
        function onRowsInserted(parent) { if (!parent.valid) list.topLevelRevision++ }
        function onRowsRemoved(parent) { if (!parent.valid) list.topLevelRevision++ }
        function onModelReset() { list.topLevelRevision++ }
        function onLayoutChanged() { list.topLevelRevision++ }
    }
}
