// The migration tool: written out as "migration.exe" by the program's launcher.
#include "MigrationWindow.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    MigrationWindow window;
    window.show();
    return QApplication::exec();
}
