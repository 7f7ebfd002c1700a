
namespace ondrel {

#pragma once

// The `ondrel` front: global options, then one command.
class CommandLine {
public:
    static int run(int argc, char** argv);
};

} // namespace ondrel
