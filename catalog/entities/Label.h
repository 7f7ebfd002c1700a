#pragma once

#include "render/engine/files/VMKAudioLabel.h"

#include <memory>

namespace ondrel {

class FileEntity;

// A label of a cataloged file: the engine's label that knows its file.
class Label : public VMKAudioLabel {
    ONDREL_OBJECT(Label, VMKAudioLabel)

public:
    Label();
    ~Label() override;

    // A new label of `type` ("marker", "slice", "region", "loop").
    static std::shared_ptr<Label> labelOfType(const QString& type);

    std::shared_ptr<FileEntity> fileEntity() const { return m_fileEntity.lock(); }
    void setFileEntity(const std::shared_ptr<FileEntity>& fileEntity) { m_fileEntity = fileEntity; }

protected:
    void copyValuesTo(VMKAudioLabel& other) const override;

private:
    std::weak_ptr<FileEntity> m_fileEntity;
};

} // namespace ondrel
