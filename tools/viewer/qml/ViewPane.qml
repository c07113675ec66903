import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

GroupBox {
    Layout.fillWidth: true
    Layout.fillHeight: true
    Layout.preferredWidth: 1
    Layout.preferredHeight: 1
}
