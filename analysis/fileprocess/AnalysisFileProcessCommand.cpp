#include "analysis/fileprocess/AnalysisFileProcessCommand.h"

namespace ondrel {

const ClassInfo& AnalysisFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<AnalysisFileProcessCommand, FileProcessCommand>(QStringLiteral("AnalysisFileProcessCommand"));
    return info;
}

AnalysisFileProcessCommand::AnalysisFileProcessCommand() = default;
AnalysisFileProcessCommand::~AnalysisFileProcessCommand() = default;

} // namespace ondrel
