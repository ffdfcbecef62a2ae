#include <formats/TiffEditor.h>

#include <algorithm>

namespace tamsel::formats {

namespace {

constexpr std::size_t inlineSize = 4;

constexpr std::size_t even(std::size_t size)
{
    return size + size % 2;
}

} // namespace

TiffDirectoryEditor::TiffDirectoryEditor(const TiffBlock& block, std::optional<TiffDirectory> directory)
    : bytes_(block.bytes()),
      order_(block.order()),
      directory_(std::move(directory))
{
    if (!directory_)
        return;
    for (const TiffEntry& entry : directory_->entries) {
        Slot slot{.tag = entry.tag, .raw = {}, .place = entry.place, .value = std::nullopt};
        std::ranges::copy(bytes_.subspan(entry.place, TiffEntry::size), slot.raw.begin());
        slots_.push_back(slot);
    }
}

bool TiffDirectoryEditor::has(std::uint16_t tag) const
{
    return std::ranges::find(slots_, tag, &Slot::tag) != slots_.end();
}

TiffDirectoryEditor::Slot& TiffDirectoryEditor::slotOf(std::uint16_t tag)
{
    isChanged_ = true;
    const auto found = std::ranges::find(slots_, tag, &Slot::tag);
    if (found != slots_.end())
        return *found;
    isMoved_ = true;
    const auto after = std::ranges::find_if(slots_, [&](const Slot& slot) { return slot.tag > tag; });
    return *slots_.insert(after, Slot{.tag = tag, .raw = {}, .place = std::nullopt, .value = std::nullopt});
}

void TiffDirectoryEditor::set(std::uint16_t tag, TiffValue value)
{
    slotOf(tag);
    for (Slot& slot : slots_) {
        if (slot.tag == tag)
            slot.value = values_.size();
    }
    values_.push_back(std::move(value));
}

void TiffDirectoryEditor::setPointer(std::uint16_t tag, std::size_t place)
{
    TiffValue value{.type = TiffType::longInteger, .count = 1, .bytes = {}};
    appendNumber(value.bytes, place, 4, order_);
    slotOf(tag).value = values_.size();
    values_.push_back(std::move(value));
}

std::size_t TiffDirectoryEditor::directorySize() const
{
    return isMoved_ ? 2 + TiffEntry::size * slots_.size() + 4 : 0;
}

std::size_t TiffDirectoryEditor::addedSize() const
{
    std::size_t size = directorySize();
    for (const TiffValue& value : values_)
        size += value.bytes.size() > inlineSize ? even(value.bytes.size()) : 0;
    return size;
}

std::vector<std::byte> TiffDirectoryEditor::entryBytes(const Slot& slot, std::size_t valuePlace) const
{
    const TiffValue& value = values_[*slot.value];
    std::vector<std::byte> bytes;
    appendNumber(bytes, slot.tag, 2, order_);
    appendNumber(bytes, static_cast<std::uint16_t>(value.type), 2, order_);
    appendNumber(bytes, value.count, 4, order_);
    if (value.bytes.size() > inlineSize)
        appendNumber(bytes, valuePlace, 4, order_);
    else
        append(bytes, value.bytes);
    bytes.resize(TiffEntry::size);
    return bytes;
}

void TiffDirectoryEditor::write(
    std::size_t base, std::vector<Splice>& changes, std::vector<std::byte>& added) const
{
    std::vector<std::size_t> valuePlaces;
    std::size_t place = base + directorySize();
    for (const TiffValue& value : values_) {
        valuePlaces.push_back(place);
        place += value.bytes.size() > inlineSize ? even(value.bytes.size()) : 0;
    }
    if (isMoved_)
        appendNumber(added, slots_.size(), 2, order_);
    for (const Slot& slot : slots_) {
        if (!isMoved_ && slot.value)
            changes.push_back(
                {*slot.place, *slot.place + TiffEntry::size, entryBytes(slot, valuePlaces[*slot.value])});
        else if (isMoved_ && slot.value)
            append(added, entryBytes(slot, valuePlaces[*slot.value]));
        else if (isMoved_)
            append(added, slot.raw);
    }
    if (isMoved_)
        appendNumber(added, directory_ ? directory_->next : 0, 4, order_);
    for (const TiffValue& value : values_) {
        if (value.bytes.size() > inlineSize) {
            append(added, value.bytes);
            added.resize(even(added.size()));
        }
    }
}

} // namespace tamsel::formats
