// The card's files, in memory, and the transfer that a mailbox has open.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

using FileContent = std::vector<uint8_t>;

class FileStore {
  public:
    static constexpr uint32_t kMaxFileSize = 32U << 20;
    static constexpr uint32_t kMaxTotalSize = 64U << 20;
    static constexpr uint32_t kMaxFiles = 64;

    // Null when there is no such file.
    [[nodiscard]] std::shared_ptr<const FileContent> find(const std::string &name) const;
    // False when the store is full.
    bool put(const std::string &name, FileContent content);
    bool put(const std::string &name, std::shared_ptr<const FileContent> content);
    void remove(const std::string &name);

  private:
    std::map<std::string, std::shared_ptr<const FileContent>> files_;
};

// One transfer at a time. Opening ends an earlier one without keeping what it wrote.
class FileTransfer {
  public:
    explicit FileTransfer(FileStore &store) : store_(store) {}

    void open_write(std::string name);
    [[nodiscard]] bool open_read(const std::string &name);

    [[nodiscard]] bool writing() const { return mode_ == Mode::Write; }
    [[nodiscard]] bool reading() const { return mode_ == Mode::Read; }
    [[nodiscard]] bool open() const { return mode_ != Mode::Closed; }

    // False when the file grows too large.
    [[nodiscard]] bool write(std::span<const uint8_t> data);
    // A chunk of the file is missing: close() will keep nothing.
    void spoil() { spoiled_ = true; }

    [[nodiscard]] uint32_t size() const { return static_cast<uint32_t>(content_->size()); }
    FileContent read(uint32_t wanted);

    // Keeps a file that was written whole. False when the store has no room for it.
    [[nodiscard]] bool close();

  private:
    enum class Mode { Closed, Read, Write };

    FileStore &store_;
    Mode mode_ = Mode::Closed;
    bool spoiled_ = false;
    std::string name_;
    FileContent written_;
    std::shared_ptr<const FileContent> content_;
    size_t position_ = 0;
};

} // namespace tarn::vcard
