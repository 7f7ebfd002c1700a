#include "analysis/AnalysisClasses.h"

#include "analysis/fileprocess/AnalysisFileProcess.h"
#include "analysis/fileprocess/AnalysisFileProcessCommand.h"
#include "analysis/operation/AnalysisOperation.h"
#include "analysis/processors/AnalyzerAudioProcessor.h"
#include "catalog/CatalogClasses.h"

#include <mutex>

namespace ondrel {

void registerAnalysisClasses() {
    registerCatalogClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        AnalyzerAudioProcessor::staticClassInfo();
        AnalysisOperation::staticClassInfo();
        AnalysisFileProcessCommand::staticClassInfo();
        AnalysisFileProcess::staticClassInfo();
    });
    AnalysisOperation::registerClassDefaults();
}

} // namespace ondrel
