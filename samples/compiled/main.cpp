#include <QGuiApplication>
#include <QQuickView>

/// Exported: the booster loads the program as a library and calls it.
Q_DECL_EXPORT int main(int argc, char *argv[]) {
    QGuiApplication application(argc, argv);
    QQuickView view(QUrl::fromLocalFile("/usr/share/org.example.tally/qml/main.qml"));
    view.show();
    return QGuiApplication::exec();
}
