#include "MigrationWindow.h"

MigrationWindow::MigrationWindow(QWidget* parent) : QWidget(parent) {}
