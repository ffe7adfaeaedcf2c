#include "Support/MemoryFileStore.h"

#include "FluvaneCore/FileName.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

namespace fluvane::support {

namespace {

constexpr std::int64_t chunkSize = 64 * 1024;

const EVP_MD* digestOf(Checksum::Algorithm algorithm) {
    switch (algorithm) {
    case Checksum::Algorithm::sha256:
        return EVP_sha256();
    case Checksum::Algorithm::sha1:
        return EVP_sha1();
    case Checksum::Algorithm::md5:
        return EVP_md5();
    }
    return nullptr;
}

std::string hexadecimal(std::span<const unsigned char> bytes) {
    std::string text;
    for (const auto byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

void failIf(const std::optional<std::string>& message) {
    if (message) {
        throw FileError(*message);
    }
}

} // namespace

std::int64_t SparseBytes::size() const {
    const std::lock_guard lock(mutex_);
    return size_;
}

void SparseBytes::resize(std::int64_t size) {
    const std::lock_guard lock(mutex_);
    if (size < size_) {
        chunks_.erase(chunks_.lower_bound((size + chunkSize - 1) / chunkSize), chunks_.end());
        if (const auto last = chunks_.find(size / chunkSize); last != chunks_.end()) {
            std::fill(last->second.begin() + size % chunkSize, last->second.end(), std::byte{});
        }
    }
    size_ = size;
}

void SparseBytes::write(std::span<const std::byte> bytes, std::int64_t at) {
    const std::lock_guard lock(mutex_);
    while (!bytes.empty()) {
        const auto count = std::min(static_cast<std::int64_t>(bytes.size()), chunkSize - at % chunkSize);
        writeChunk(bytes.first(static_cast<std::size_t>(count)), at);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        at += count;
    }
}

void SparseBytes::writeChunk(std::span<const std::byte> bytes, std::int64_t at) {
    auto& chunk = chunks_[at / chunkSize];
    chunk.resize(chunkSize);
    std::copy(bytes.begin(), bytes.end(), chunk.begin() + at % chunkSize);
    size_ = std::max(size_, at + static_cast<std::int64_t>(bytes.size()));
}

std::string SparseBytes::read(std::int64_t at, std::int64_t count) const {
    const std::lock_guard lock(mutex_);
    const auto end = std::min(at + count, size_);
    std::string text(static_cast<std::size_t>(std::max<std::int64_t>(end - at, 0)), '\0');
    for (auto chunk = chunks_.lower_bound(at / chunkSize); chunk != chunks_.end(); ++chunk) {
        const auto start = chunk->first * chunkSize;
        const auto from = std::max(start, at);
        const auto to = std::min(start + chunkSize, end);
        if (from < to) {
            std::memcpy(text.data() + (from - at), chunk->second.data() + (from - start),
                        static_cast<std::size_t>(to - from));
        }
    }
    return text;
}

class MemoryFileStore::File : public PieceFile {
public:
    File(std::shared_ptr<SparseBytes> bytes, std::shared_ptr<Faults> faults)
        : bytes_(std::move(bytes)), faults_(std::move(faults)) {
        const std::lock_guard lock(faults_->mutex);
        ++faults_->open;
    }
    ~File() override { close(); }

    void write(std::span<const std::byte> bytes, std::int64_t at) override {
        const std::lock_guard lock(faults_->mutex);
        if (closed_) {
            throw FileError("The file is closed.");
        }
        failIf(faults_->write);
        bytes_->write(bytes, at);
    }

    void sync() override {
        const std::lock_guard lock(faults_->mutex);
        if (!closed_) {
            failIf(faults_->sync);
            ++faults_->syncs;
        }
    }

    void close() noexcept override {
        const std::lock_guard lock(faults_->mutex);
        faults_->open -= closed_ ? 0 : 1;
        closed_ = true;
    }

private:
    std::shared_ptr<SparseBytes> bytes_;
    std::shared_ptr<Faults> faults_;
    bool closed_ = false;
};

bool MemoryFileStore::exists(const URL& location) {
    const auto path = location.path();
    const auto below = files_.lower_bound(path + "/");
    return files_.contains(path) || (below != files_.end() && below->first.starts_with(path + "/"));
}

std::optional<std::int64_t> MemoryFileStore::size(const URL& location) {
    const auto file = files_.find(location.path());
    return file == files_.end() ? std::nullopt : std::optional(file->second->size());
}

std::shared_ptr<PieceFile> MemoryFileStore::create(const URL& location, std::optional<std::int64_t> size) {
    failIf(failCreate);
    created.push_back(location.path());
    auto& file = files_[location.path()];
    if (!file) {
        file = std::make_shared<SparseBytes>();
    }
    file->resize(0);
    file->resize(std::max<std::int64_t>(size.value_or(0), 0));
    return std::make_shared<File>(file, faults_);
}

std::shared_ptr<PieceFile> MemoryFileStore::open(const URL& location) {
    failIf(failOpen);
    opened.push_back(location.path());
    auto& file = files_[location.path()];
    if (!file) {
        file = std::make_shared<SparseBytes>();
    }
    return std::make_shared<File>(file, faults_);
}

void MemoryFileStore::remove(const URL& location) {
    if (files_.erase(location.path()) > 0) {
        removed.push_back(location.path());
    }
}

std::optional<std::int64_t> MemoryFileStore::availableSpace(const URL&) {
    return freeSpace;
}

void MemoryFileStore::checksum(const URL& file, Checksum::Algorithm algorithm,
                               std::function<void(Outcome<std::string>)> completion) {
    complete(std::move(completion), digest(file.path(), algorithm));
}

void MemoryFileStore::finish(const URL& partial, const std::string& name, const URL& folder,
                             DuplicateNaming naming, const FileOrigin& origin,
                             std::function<void(Outcome<URL>)> completion) {
    complete(std::move(completion), move(partial, name, folder, naming, origin));
}

void MemoryFileStore::put(const std::string& path, std::string_view bytes) {
    auto file = std::make_shared<SparseBytes>();
    file->write(std::as_bytes(std::span(bytes)), 0);
    files_[path] = std::move(file);
}

std::optional<std::string> MemoryFileStore::contents(const std::string& path) const {
    const auto file = files_.find(path);
    return file == files_.end() ? std::nullopt : std::optional(file->second->read(0, file->second->size()));
}

std::vector<std::string> MemoryFileStore::paths() const {
    std::vector<std::string> all;
    for (const auto& [path, bytes] : files_) {
        all.push_back(path);
    }
    return all;
}

template <class T>
void MemoryFileStore::complete(std::function<void(Outcome<T>)> completion, Outcome<T> outcome) {
    scheduler_.after(completionDelay, [completion = std::move(completion), outcome = std::move(outcome)] {
        completion(outcome);
    });
}

Outcome<std::string> MemoryFileStore::digest(const std::string& path, Checksum::Algorithm algorithm) const {
    const auto file = files_.find(path);
    if (failChecksum || file == files_.end()) {
        return Outcome<std::string>::failure(failChecksum.value_or("No such file or directory"));
    }
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), digestOf(algorithm), nullptr);
    for (std::int64_t at = 0; at < file->second->size(); at += chunkSize) {
        const auto chunk = file->second->read(at, chunkSize);
        EVP_DigestUpdate(context.get(), chunk.data(), chunk.size());
    }
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), bytes, &length);
    return Outcome<std::string>::success(hexadecimal({bytes, length}));
}

Outcome<URL> MemoryFileStore::move(const URL& partial, const std::string& name, const URL& folder,
                                   DuplicateNaming naming, const FileOrigin& origin) {
    const auto file = files_.find(partial.path());
    if (failFinish || file == files_.end()) {
        return Outcome<URL>::failure(failFinish.value_or("No such file or directory"));
    }
    const auto chosen = FileName::unique(
        name, naming, [&](const std::string& candidate) { return exists(folder.appending(candidate)); });
    const auto place = folder.appending(chosen);
    auto moved = files_.extract(file);
    moved.key() = place.path();
    files_.insert(std::move(moved));
    origins.emplace_back(place.path(), origin);
    return Outcome<URL>::success(place);
}

} // namespace fluvane::support
