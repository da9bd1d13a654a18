#include "precalc/precalc_store.h"

#include <algorithm>

#include "precalc/position_type.h"

namespace ostravel {

bool PrecalcTrivialNoMate(const std::string& type) {
  for (char c : type)
    if (c >= 'A' && c <= 'Z' && c != 'K') return false;
  return true;
}

CPrecalcStore::CPrecalcStore(std::filesystem::path folder, size_t memoryBudget)
    : folder_(std::move(folder)), budget_(memoryBudget) {}

const std::shared_ptr<CPrecalcStore::TType>& CPrecalcStore::LoadLocked(const std::string& type) {
  auto it = types_.find(type);
  if (it != types_.end()) return it->second;
  auto t = std::make_shared<TType>();
  t->type = type;
  try {
    t->index = std::make_unique<CPositionTypeIndex>(type);
    const std::filesystem::path path = folder_ / PrecalcFileName(t->index->Type());
    std::error_code ec;
    if (t->index->Type() == type && std::filesystem::is_regular_file(path, ec)) {
      t->file = CPrecalcFile::Load(path, type, t->index->PlacementCount());
      t->blocks.resize(t->file->BlockCount());
      t->lastUse.assign(t->file->BlockCount(), 0);
      inUse_ += t->file->PackedBytes();
    }
  } catch (const std::exception& e) {
    lastError_ = e.what();
    t->file.reset();
  }
  return types_.emplace(type, std::move(t)).first->second;
}

std::shared_ptr<CPrecalcStore::TType> CPrecalcStore::Find(const std::string& type) {
  std::lock_guard<std::mutex> lk(lock_);
  return LoadLocked(type);
}

void CPrecalcStore::TrimLocked(const TType* keepType, uint32_t keepBlock) {
  while (inUse_ > budget_) {
    TType* victim = nullptr;
    uint32_t vb = 0;
    uint64_t oldest = UINT64_MAX;
    for (auto& [name, t] : types_)
      for (uint32_t b = 0; b < t->blocks.size(); ++b)
        if (t->blocks[b] && t->lastUse[b] < oldest && !(t.get() == keepType && b == keepBlock)) {
          oldest = t->lastUse[b];
          victim = t.get();
          vb = b;
        }
    if (!victim) return;
    inUse_ -= victim->blocks[vb]->size();
    victim->blocks[vb].reset();
  }
}

CPrecalcStore::TResult CPrecalcStore::LookupIndex(const std::string& type, uint64_t index, uint8_t& value) {
  std::shared_ptr<TType> t;
  {
    std::lock_guard<std::mutex> lk(lock_);
    t = LoadLocked(type);
    if (!t->file || index >= t->file->Summary().entries) return TResult::kNoData;
    if (ReadLocked(*t, index, value)) return value == kPrecalcIllegal ? TResult::kIllegal : TResult::kValue;
  }
  return Unpack(t, index, value);
}

bool CPrecalcStore::ReadLocked(TType& t, uint64_t index, uint8_t& value) {
  const uint32_t b = static_cast<uint32_t>(index / t.file->BlockEntries());
  t.lastUse[b] = ++clock_;
  if (!t.used) {
    t.used = true;
    used_.push_back(t.type);
  }
  if (!t.blocks[b]) return false;
  value = (*t.blocks[b])[index % t.file->BlockEntries()];
  return true;
}

CPrecalcStore::TResult CPrecalcStore::Unpack(const std::shared_ptr<TType>& t, uint64_t index,
                                             uint8_t& value) {
  // Unpacked outside the lock; two threads may both unpack the same block,
  // which costs time but no correctness.
  const uint32_t b = static_cast<uint32_t>(index / t->file->BlockEntries());
  auto fresh = std::make_shared<std::vector<uint8_t>>(t->file->BlockSize(b));
  try {
    t->file->UnpackBlock(b, fresh->data());
  } catch (const std::exception& e) {
    std::lock_guard<std::mutex> lk(lock_);
    lastError_ = e.what();
    return TResult::kNoData;
  }
  value = (*fresh)[index % t->file->BlockEntries()];
  std::lock_guard<std::mutex> lk(lock_);
  if (!t->blocks[b]) {
    t->blocks[b] = std::move(fresh);
    inUse_ += t->blocks[b]->size();
    TrimLocked(t.get(), b);
  }
  return value == kPrecalcIllegal ? TResult::kIllegal : TResult::kValue;
}

CPrecalcStore::TResult CPrecalcStore::Lookup(const uint8_t board[64], uint8_t& value) {
  const std::string type = PositionType(board);
  if (PrecalcTrivialNoMate(type)) {
    value = kPrecalcNoMate;
    return TResult::kValue;
  }
  // One lock for the common case: the type known and its block unpacked.
  std::shared_ptr<TType> t;
  uint64_t index = 0;
  {
    std::lock_guard<std::mutex> lk(lock_);
    const std::shared_ptr<TType>& known = LoadLocked(type);
    if (!known->file) return TResult::kNoData;
    if (!known->index->IndexOf(board, true, index)) return TResult::kNoData;
    if (ReadLocked(*known, index, value))
      return value == kPrecalcIllegal ? TResult::kIllegal : TResult::kValue;
    t = known;
  }
  return Unpack(t, index, value);
}

bool CPrecalcStore::Has(const std::string& type) {
  return Find(type)->file != nullptr;
}

bool CPrecalcStore::Summary(const std::string& type, TPrecalcSummary& out) {
  std::shared_ptr<TType> t = Find(type);
  if (!t->file) return false;
  out = t->file->Summary();
  return true;
}

std::vector<std::string> CPrecalcStore::UsedTypes() const {
  std::lock_guard<std::mutex> lk(lock_);
  return used_;
}

std::vector<std::string> CPrecalcStore::FileTypes() const {
  std::vector<std::string> out;
  std::error_code ec;
  const std::string suffix = ".precalc.lz4";
  for (std::filesystem::directory_iterator it(folder_, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
      out.push_back(name.substr(0, name.size() - suffix.size()));
  }
  std::sort(out.begin(), out.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return out;
}

std::string CPrecalcStore::LastError() const {
  std::lock_guard<std::mutex> lk(lock_);
  return lastError_;
}

void CPrecalcStore::Forget(const std::string& type) {
  std::lock_guard<std::mutex> lk(lock_);
  auto it = types_.find(type);
  if (it == types_.end()) return;
  TType& t = *it->second;
  if (t.file) inUse_ -= t.file->PackedBytes();
  for (auto& b : t.blocks)
    if (b) inUse_ -= b->size();
  types_.erase(it);
}

size_t CPrecalcStore::MemoryInUse() const {
  std::lock_guard<std::mutex> lk(lock_);
  return inUse_;
}

}  // namespace ostravel
