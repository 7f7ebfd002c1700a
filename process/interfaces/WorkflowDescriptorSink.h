#pragma once

#include "core/objects/Variant.h"

namespace ondrel {

// Where workflow files opened from outside the program go: the workflow
// library. Called on the main thread with each object read from a file.
class WorkflowDescriptorSink {
public:
    virtual ~WorkflowDescriptorSink() = default;
    virtual void addWorkflowDescriptorsObject(const ObjectPtr& workflowDescriptor) = 0;
};

} // namespace ondrel
