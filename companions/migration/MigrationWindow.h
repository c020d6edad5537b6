#pragma once

#include <QWidget>

class MigrationWindow : public QWidget
{
    Q_OBJECT
public:
    explicit MigrationWindow(QWidget* parent = nullptr);
};
