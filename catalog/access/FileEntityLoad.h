#pragma once

namespace ondrel {

class FileEntity;

// Keeps a file entity loaded for as long as it lives: load() when made,
// unload() when gone, so that a detector can return from anywhere.
class FileEntityLoad {
public:
    explicit FileEntityLoad(FileEntity& fileEntity);
    ~FileEntityLoad();
    FileEntityLoad(const FileEntityLoad&) = delete;
    FileEntityLoad& operator=(const FileEntityLoad&) = delete;

private:
    FileEntity& m_fileEntity;
};

} // namespace ondrel
