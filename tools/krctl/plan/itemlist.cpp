#include "tools/krctl/plan/itemlist.h"

#include <algorithm>

namespace {

constexpr std::size_t kBlockBytes = 1U << 20U;

} // namespace

void ItemList::Add(const plan::Note& item) {
    const std::string_view path = item.text;
    const std::size_t end = path.rfind('/') == std::string_view::npos ? 0 : path.rfind('/') + 1;
    const std::string_view name = path.substr(end);
    m_items.push_back({.name = Keep(name),
                       .number = item.number,
                       .nameLength = static_cast<std::uint32_t>(name.size()),
                       .folder = FolderOf(path.substr(0, end)),
                       .order = static_cast<std::uint32_t>(m_items.size()),
                       .camId = item.camId,
                       .reason = item.reason,
                       .kind = KindOf(item.kind)});
}

void ItemList::ForEachByPath(const std::function<void(const plan::Note&)>& take) {
    std::sort(m_items.begin(), m_items.end(),
              [this](const Item& one, const Item& other) { return IsBefore(one, other); });
    for (const Item& item : m_items) {
        plan::Note note;
        note.reason = item.reason;
        note.kind = m_kinds[item.kind];
        note.camId = item.camId;
        note.text = m_folders[item.folder] + std::string(item.name, item.nameLength);
        note.number = item.number;
        take(note);
    }
}

std::uint32_t ItemList::FolderOf(std::string_view folder) {
    const auto [found, isNew] = m_folderNumbers.try_emplace(
        std::string(folder), static_cast<std::uint32_t>(m_folders.size()));
    if (isNew) {
        m_folders.emplace_back(folder);
    }
    return found->second;
}

std::uint32_t ItemList::KindOf(const std::string& kind) {
    const auto found = std::find(m_kinds.begin(), m_kinds.end(), kind);
    const auto number = static_cast<std::uint32_t>(found - m_kinds.begin());
    if (found == m_kinds.end()) {
        m_kinds.push_back(kind);
    }
    return number;
}

const char* ItemList::Keep(std::string_view text) {
    if (m_texts.empty() || m_texts.back().size() + text.size() > m_texts.back().capacity()) {
        m_texts.emplace_back();
        m_texts.back().reserve(std::max(kBlockBytes, text.size()));
    }
    std::string& block = m_texts.back();
    block += text; // within its capacity, so that earlier names stay in place
    return block.data() + block.size() - text.size();
}

// Compares the paths without joining their parts. A name has no "/", so it never equals the
// beginning of a folder that is in its own folder.
bool ItemList::IsBefore(const Item& one, const Item& other) const {
    const std::string_view oneName(one.name, one.nameLength);
    const std::string_view otherName(other.name, other.nameLength);
    if (one.folder == other.folder) {
        const int order = oneName.compare(otherName);
        return order != 0 ? order < 0 : one.order < other.order;
    }
    const std::string_view oneFolder = m_folders[one.folder];
    const std::string_view otherFolder = m_folders[other.folder];
    const std::size_t common = std::min(oneFolder.size(), otherFolder.size());
    const int order = oneFolder.substr(0, common).compare(otherFolder.substr(0, common));
    if (order != 0) {
        return order < 0;
    }
    return oneFolder.size() < otherFolder.size() ? oneName < otherFolder.substr(common)
                                                 : oneFolder.substr(common) < otherName;
}
