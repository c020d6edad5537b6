#pragma once

#include "platform/Prompter.h"

// The prompter that shows real dialogs: QMessageBox, QInputDialog, QFileDialog.
class QtPrompter final : public Prompter
{
public:
    prompt::Answer message(const prompt::Message& message) override;
    QString input(const prompt::Input& input) override;
    QString chooseFolder(const prompt::FolderChoice& choice) override;
    QString chooseFile(const prompt::FileChoice& choice) override;
    void runModal(QWidget* window) override;
    void beep() override;
};
