// The floor with the handler's own libraries: a Qt program that starts and
// answers a fixed reply, so that process start and Qt's start are measured.
#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream(stdout) << "auth_ok:0\nend\n";
    return 0;
}
