// The items of a plan, sorted by path.

#pragma once

#include "tools/common/note.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Keeps each folder once, so that an item takes some 40 bytes and those of its file's name: a plan
// may have millions of items.
class ItemList {
public:
    void Add(const plan::Note& item);

    // Passes the items to `take`, in the byte order of their paths. Items with equal paths stay in
    // the order in which they were added.
    void ForEachByPath(const std::function<void(const plan::Note&)>& take);

private:
    struct Item {
        const char* name; // in m_texts, not terminated
        long number;
        std::uint32_t nameLength;
        std::uint32_t folder; // in m_folders
        std::uint32_t order;
        int camId;
        plan::Reason reason;
        std::uint32_t kind; // in m_kinds
    };

    [[nodiscard]] std::uint32_t FolderOf(std::string_view folder);
    [[nodiscard]] std::uint32_t KindOf(const std::string& kind);
    [[nodiscard]] const char* Keep(std::string_view text);
    [[nodiscard]] bool IsBefore(const Item& one, const Item& other) const;

    std::deque<Item> m_items;
    std::vector<std::string> m_folders; // each with its final "/"
    std::unordered_map<std::string, std::uint32_t> m_folderNumbers;
    std::vector<std::string> m_kinds;
    std::deque<std::string> m_texts; // blocks of names, never reallocated
};
