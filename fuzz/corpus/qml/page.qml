// A page
import QtQuick 2.6
import Halyard.Vitrine 1.0 as V;import "../components" 1.0

Page {
    import Late 1.0
}
