#include "vcard/firmware/file_store.h"

#include <algorithm>
#include <utility>

namespace tarn::vcard {

std::shared_ptr<const FileContent> FileStore::find(const std::string &name) const {
    const auto file = files_.find(name);
    return file == files_.end() ? nullptr : file->second;
}

bool FileStore::put(const std::string &name, FileContent content) {
    return put(name, std::make_shared<const FileContent>(std::move(content)));
}

bool FileStore::put(const std::string &name, std::shared_ptr<const FileContent> content) {
    files_.erase(name);
    size_t total = content->size();
    for (const auto &[other, file] : files_) {
        total += file->size();
    }
    if (files_.size() >= kMaxFiles || total > kMaxTotalSize) {
        return false;
    }
    files_[name] = std::move(content);
    return true;
}

void FileStore::remove(const std::string &name) {
    files_.erase(name);
}

void FileTransfer::open_write(std::string name) {
    name_ = std::move(name);
    mode_ = Mode::Write;
    spoiled_ = false;
    written_.clear();
    // From here on the old content is gone: a broken download must never leave a bus to be started
    // with the configuration of before.
    store_.remove(name_);
}

bool FileTransfer::open_read(const std::string &name) {
    content_ = store_.find(name);
    mode_ = content_ ? Mode::Read : Mode::Closed;
    position_ = 0;
    return content_ != nullptr;
}

bool FileTransfer::write(std::span<const uint8_t> data) {
    if (written_.size() + data.size() > FileStore::kMaxFileSize) {
        spoil();
        return false;
    }
    written_.insert(written_.end(), data.begin(), data.end());
    return true;
}

FileContent FileTransfer::read(uint32_t wanted) {
    const size_t count = std::min<size_t>(wanted, content_->size() - position_);
    const auto begin = content_->begin() + static_cast<std::ptrdiff_t>(position_);
    position_ += count;
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

bool FileTransfer::close() {
    const Mode mode = std::exchange(mode_, Mode::Closed);
    content_ = nullptr;
    FileContent content = std::exchange(written_, {});
    return mode != Mode::Write || spoiled_ || store_.put(name_, std::move(content));
}

} // namespace tarn::vcard
