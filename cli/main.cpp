#include <QtCore/QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::puts("ondrel " ONDREL_VERSION);
    return 0;
}
