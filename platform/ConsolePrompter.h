#pragma once

#include "platform/Prompter.h"

#include <cstdio>

// The prompter of the command-line modes, where nobody is there to answer: every
// message is written to standard error and gets its default answer, input boxes and
// pickers are cancelled, and no window is shown.
class ConsolePrompter final : public Prompter
{
public:
    explicit ConsolePrompter(std::FILE* stream = stderr) : m_stream(stream) {}

    prompt::Answer message(const prompt::Message& message) override;
    QString input(const prompt::Input&) override { return {}; }
    QString chooseFolder(const prompt::FolderChoice&) override { return {}; }
    QString chooseFile(const prompt::FileChoice&) override { return {}; }
    void runModal(QWidget*) override {}
    void beep() override {}

private:
    std::FILE* m_stream;
};
