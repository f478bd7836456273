// The tests of views run within a Qt application.
#include <QApplication>
#include <gtest/gtest.h>

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    const QApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
