import QtQuick 2.6
import Halyard.Vitrine 1.0

ApplicationWindow {
    initialPage: Page {
        property int count: 0

        Text {
            anchors.centerIn: parent
            text: parent.count
        }
        MouseArea {
            anchors.fill: parent
            onClicked: parent.count += 1
        }
    }
}
