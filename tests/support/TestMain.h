#pragma once

#include <QObject>

#include <functional>

// Every folder's tests build one executable that runs all its test classes.
// QUILLMERE_TEST_CLASS=<name> in the environment runs just one of them.
namespace testmain {

bool registerTestClass(const char* name, std::function<QObject*()> create);

} // namespace testmain

#define QUILLMERE_TEST(Class) \
    static const bool quillmereRegistered##Class = testmain::registerTestClass(#Class, [] { return new Class; });
