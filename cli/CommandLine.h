#pragma once

namespace ondrel {

// The `ondrel` front: global options, then one command.
class CommandLine {
public:
    static int run(int argc, char** argv);
};

} // namespace ondrel
