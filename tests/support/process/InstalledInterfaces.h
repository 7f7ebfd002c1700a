#pragma once

#include "process/interfaces/ProcessInterfaces.h"

namespace ondrel {

// Uninstalls every process-wide interface when made and when it goes, so a
// test sees only what it installs itself and leaves nothing for the next.
class InstalledInterfaces {
public:
    InstalledInterfaces() { uninstallAll(); }
    ~InstalledInterfaces() { uninstallAll(); }
    InstalledInterfaces(const InstalledInterfaces&) = delete;
    InstalledInterfaces& operator=(const InstalledInterfaces&) = delete;

    static void uninstallAll() {
        ProcessInterfaces::setFileEntitySource(nullptr);
        ProcessInterfaces::setAudioProcessCommandGroupFactory(nullptr);
        ProcessInterfaces::setAudioProcessCommandGroupExecutor(nullptr);
        ProcessInterfaces::setRecordableRunner(nullptr);
        ProcessInterfaces::setAudioOutputRouting(nullptr);
        ProcessInterfaces::setProcessControllerSource(nullptr);
        ProcessInterfaces::setWorkflowDescriptorSink(nullptr);
        ProcessInterfaces::setFileProcessCommandExecutor(nullptr);
        ProcessInterfaces::setTerminationPrompt(nullptr);
        ProcessInterfaces::setApplication(nullptr);
        ProcessInterfaces::setCurrentWorkflow(nullptr);
    }
};

} // namespace ondrel
