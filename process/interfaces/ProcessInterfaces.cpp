#include "process/interfaces/ProcessInterfaces.h"

#include "process/application/SharedRouterOutputRouting.h"
#include "process/interfaces/AudioOutputRouting.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"
#include "process/interfaces/AudioProcessCommandGroupFactory.h"
#include "process/interfaces/CurrentWorkflow.h"
#include "process/interfaces/FileEntitySource.h"
#include "process/interfaces/FileProcessCommandExecutor.h"
#include "process/interfaces/ProcessControllerSource.h"
#include "process/interfaces/RecordableRunner.h"
#include "process/interfaces/TerminableApplication.h"
#include "process/interfaces/TerminationPrompt.h"
#include "process/interfaces/WorkflowDescriptorSink.h"

#include <mutex>

namespace ondrel {

namespace {

struct Installed {
    std::mutex mutex;
    std::shared_ptr<FileEntitySource> fileEntitySource;
    std::shared_ptr<AudioProcessCommandGroupFactory> groupFactory;
    std::shared_ptr<AudioProcessCommandGroupExecutor> groupExecutor;
    std::shared_ptr<RecordableRunner> recordableRunner;
    std::shared_ptr<AudioOutputRouting> audioOutputRouting;
    std::shared_ptr<ProcessControllerSource> processControllerSource;
    std::shared_ptr<WorkflowDescriptorSink> workflowDescriptorSink;
    std::shared_ptr<FileProcessCommandExecutor> fileProcessCommandExecutor;
    std::shared_ptr<TerminationPrompt> terminationPrompt;
    std::shared_ptr<TerminableApplication> application;
    std::shared_ptr<CurrentWorkflow> currentWorkflow;
};

// Lives for the process (never destroyed at exit): interfaces may be asked
// for while static objects are being destroyed.
Installed& installed() {
    static auto* shared = new Installed();
    return *shared;
}

template <class T>
std::shared_ptr<T> get(std::shared_ptr<T> Installed::*member) {
    std::lock_guard lock(installed().mutex);
    return installed().*member;
}

// The replaced interface is released outside the lock: its destructor may
// ask for interfaces too.
template <class T>
void set(std::shared_ptr<T> Installed::*member, std::shared_ptr<T> value) {
    {
        std::lock_guard lock(installed().mutex);
        std::swap(installed().*member, value);
    }
}

} // namespace

void ProcessInterfaces::setFileEntitySource(std::shared_ptr<FileEntitySource> source) {
    set(&Installed::fileEntitySource, std::move(source));
}
std::shared_ptr<FileEntitySource> ProcessInterfaces::fileEntitySource() { return get(&Installed::fileEntitySource); }

void ProcessInterfaces::setAudioProcessCommandGroupFactory(std::shared_ptr<AudioProcessCommandGroupFactory> factory) {
    set(&Installed::groupFactory, std::move(factory));
}
std::shared_ptr<AudioProcessCommandGroupFactory> ProcessInterfaces::audioProcessCommandGroupFactory() {
    return get(&Installed::groupFactory);
}

void ProcessInterfaces::setAudioProcessCommandGroupExecutor(
    std::shared_ptr<AudioProcessCommandGroupExecutor> executor) {
    set(&Installed::groupExecutor, std::move(executor));
}
std::shared_ptr<AudioProcessCommandGroupExecutor> ProcessInterfaces::audioProcessCommandGroupExecutor() {
    return get(&Installed::groupExecutor);
}

void ProcessInterfaces::setRecordableRunner(std::shared_ptr<RecordableRunner> runner) {
    set(&Installed::recordableRunner, std::move(runner));
}
std::shared_ptr<RecordableRunner> ProcessInterfaces::recordableRunner() { return get(&Installed::recordableRunner); }

void ProcessInterfaces::setAudioOutputRouting(std::shared_ptr<AudioOutputRouting> routing) {
    set(&Installed::audioOutputRouting, std::move(routing));
}
std::shared_ptr<AudioOutputRouting> ProcessInterfaces::audioOutputRouting() {
    std::lock_guard lock(installed().mutex);
    auto& routing = installed().audioOutputRouting;
    if (!routing)
        routing = std::make_shared<SharedRouterOutputRouting>();
    return routing;
}

void ProcessInterfaces::setProcessControllerSource(std::shared_ptr<ProcessControllerSource> source) {
    set(&Installed::processControllerSource, std::move(source));
}
std::shared_ptr<ProcessControllerSource> ProcessInterfaces::processControllerSource() {
    return get(&Installed::processControllerSource);
}

void ProcessInterfaces::setWorkflowDescriptorSink(std::shared_ptr<WorkflowDescriptorSink> sink) {
    set(&Installed::workflowDescriptorSink, std::move(sink));
}
std::shared_ptr<WorkflowDescriptorSink> ProcessInterfaces::workflowDescriptorSink() {
    return get(&Installed::workflowDescriptorSink);
}

void ProcessInterfaces::setFileProcessCommandExecutor(std::shared_ptr<FileProcessCommandExecutor> executor) {
    set(&Installed::fileProcessCommandExecutor, std::move(executor));
}
std::shared_ptr<FileProcessCommandExecutor> ProcessInterfaces::fileProcessCommandExecutor() {
    return get(&Installed::fileProcessCommandExecutor);
}

void ProcessInterfaces::setTerminationPrompt(std::shared_ptr<TerminationPrompt> prompt) {
    set(&Installed::terminationPrompt, std::move(prompt));
}
std::shared_ptr<TerminationPrompt> ProcessInterfaces::terminationPrompt() {
    return get(&Installed::terminationPrompt);
}

void ProcessInterfaces::setApplication(std::shared_ptr<TerminableApplication> application) {
    set(&Installed::application, std::move(application));
}
std::shared_ptr<TerminableApplication> ProcessInterfaces::application() { return get(&Installed::application); }

void ProcessInterfaces::setCurrentWorkflow(std::shared_ptr<CurrentWorkflow> workflow) {
    set(&Installed::currentWorkflow, std::move(workflow));
}
std::shared_ptr<CurrentWorkflow> ProcessInterfaces::currentWorkflow() { return get(&Installed::currentWorkflow); }

} // namespace ondrel
