#pragma once

#include <memory>

namespace ondrel {

class AudioOutputRouting;
class AudioProcessCommandGroupExecutor;
class AudioProcessCommandGroupFactory;
class CurrentWorkflow;
class FileEntitySource;
class FileProcessCommandExecutor;
class ProcessControllerSource;
class RecordableRunner;
class TerminableApplication;
class TerminationPrompt;
class WorkflowDescriptorSink;

// Every interface through which the libraries above the process model plug
// into it, process-wide, in one place. Whoever implements one installs it at
// start (the program, the desktop shell, a test); the workflow controller,
// the application delegate and actions ask for it each time they need it,
// so a later installation takes effect at the next use. Installing null
// uninstalls; what each user does without the interface is said below.
// Every setter and getter is safe on any thread.
class ProcessInterfaces {
public:
    ProcessInterfaces() = delete;

    // MARK: Runs of the workflow (WorkflowController)

    // The catalog's lists of file entities a run reads. None: a run has no
    // entities.
    static void setFileEntitySource(std::shared_ptr<FileEntitySource> source);
    static std::shared_ptr<FileEntitySource> fileEntitySource();

    // Compiles the command groups of a run. None: a run logs that no compiler
    // is available and hands nothing on.
    static void setAudioProcessCommandGroupFactory(std::shared_ptr<AudioProcessCommandGroupFactory> factory);
    static std::shared_ptr<AudioProcessCommandGroupFactory> audioProcessCommandGroupFactory();

    // Runs compiled groups (the audio process controller): those of a run and
    // those of the selection commands. None: the groups are dropped with a
    // logged error.
    static void setAudioProcessCommandGroupExecutor(std::shared_ptr<AudioProcessCommandGroupExecutor> executor);
    static std::shared_ptr<AudioProcessCommandGroupExecutor> audioProcessCommandGroupExecutor();

    // With the default "appleScriptRecordingEnabled" on, runs go through this
    // runner's script text instead of straight to the executor. None (no
    // scripting available): straight to the executor.
    static void setRecordableRunner(std::shared_ptr<RecordableRunner> runner);
    static std::shared_ptr<RecordableRunner> recordableRunner();

    // MARK: Start and quitting (ApplicationDelegate)

    // The device's output channels and the shared router that start-up ties.
    // Until another is installed, and again after null is installed, this is
    // a SharedRouterOutputRouting without a device: it ties nothing.
    static void setAudioOutputRouting(std::shared_ptr<AudioOutputRouting> routing);
    static std::shared_ptr<AudioOutputRouting> audioOutputRouting();

    // The audio and file process controllers. None: launching observes
    // nothing and nothing counts as running.
    static void setProcessControllerSource(std::shared_ptr<ProcessControllerSource> source);
    static std::shared_ptr<ProcessControllerSource> processControllerSource();

    // The workflow library, which takes workflow files opened from outside.
    // None: such files are read and dropped.
    static void setWorkflowDescriptorSink(std::shared_ptr<WorkflowDescriptorSink> sink);
    static std::shared_ptr<WorkflowDescriptorSink> workflowDescriptorSink();

    // The file process controller, which adds other opened files to the
    // catalog. None: they are not added, with a logged error.
    static void setFileProcessCommandExecutor(std::shared_ptr<FileProcessCommandExecutor> executor);
    static std::shared_ptr<FileProcessCommandExecutor> fileProcessCommandExecutor();

    // The question asked when quitting during work. None: quit at once.
    static void setTerminationPrompt(std::shared_ptr<TerminationPrompt> prompt);
    static std::shared_ptr<TerminationPrompt> terminationPrompt();

    // The application object, told when work ends after a delayed quit.
    // None: nobody is told.
    static void setApplication(std::shared_ptr<TerminableApplication> application);
    static std::shared_ptr<TerminableApplication> application();

    // MARK: The pasteboard form of actions (Action)

    // The workflow whose indexes the pasteboard form names; the workflow
    // controller installs the shared one. None: the form names nothing.
    static void setCurrentWorkflow(std::shared_ptr<CurrentWorkflow> workflow);
    static std::shared_ptr<CurrentWorkflow> currentWorkflow();
};

} // namespace ondrel
