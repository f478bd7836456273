// The example is played within a Qt application that the library knows.
#include <view/desktop.h>

#include <QApplication>
#include <gtest/gtest.h>
#include <zel/zel.h>

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    const QApplication application(count, arguments);
    zel::Desktop::join();
    zel::Console::setSink({});
    return RUN_ALL_TESTS();
}
