#include "tools/talvdicom/json_dump.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "dicom/value_class.h"
#include "dicom/value_parse.h"
#include "dicom/value_records.h"
#include "tools/talvdicom/element_text.h"

namespace talv {
namespace {
using Json = nlohmann::ordered_json;
constexpr uint32_t kInlineLimit = 4096;

std::string TagKey(uint32_t tag)
{
    char key[12];
    std::snprintf(key, sizeof key, "%08X", tag);
    return key;
}

std::string Base64(const std::vector<uint8_t>& bytes)
{
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t count = std::min<size_t>(bytes.size() - i, 3);
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0u);
        for (size_t k = 0; k < 4; ++k) text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

std::string Place(const std::string& file, uint64_t offset, uint64_t length)
{
    return file + "?offset=" + std::to_string(offset) + "&length=" + std::to_string(length);
}

/// A text value; empty ones have no value (PS3.18 F.2.5).
Json TextOrNull(const std::string& text)
{
    return text.empty() ? Json() : Json(text);
}

/// A person name by its component groups (PS3.5 6.2.1).
Json PersonName(const std::string& text)
{
    Json groups = Json::object();
    size_t start = 0;
    for (const char* const group : {"Alphabetic", "Ideographic", "Phonetic"}) {
        const size_t end = std::min(text.find('=', start), text.size());
        if (end > start) groups[group] = text.substr(start, end - start);
        start = std::min(end + 1, text.size());
    }
    return groups.empty() ? Json() : groups;
}

/// Dates, times and ages as the file has them.
Json StoredTexts(DicomDataSet* dataSet, DicomElement* element)
{
    std::string bytes(element->length, '\0');
    bytes.resize(dataSet->ReadValueBytes(element, 0, bytes.data(), bytes.size()));
    Json list = Json::array();
    std::string_view rest = bytes;
    for (;;) {
        const size_t end = rest.find('\\');
        list.push_back(TextOrNull(std::string(TrimValue(rest.substr(0, end)))));
        if (end == std::string_view::npos) return list;
        rest.remove_prefix(end + 1);
    }
}

/// Values of one element as its VR has them.
Json Values(DicomDataSet* dataSet, DicomElement* element)
{
    const ValueClass valueClass = ValueClassOf(element->vr);
    if (valueClass >= kClassAges) return StoredTexts(dataSet, element);
    const int32_t count = dataSet->GetValueCount(element);
    const auto all = static_cast<uint32_t>(std::max(count, 0));
    Json list = Json::array();
    if (element->vr == MakeVr('A', 'T')) {
        const int32_t* const tags = dataSet->GetLongs(element, 0, all);
        for (uint32_t i = 0; tags != nullptr && i < all; ++i) {
            DicomTag tag;
            std::memcpy(&tag, tags + i, sizeof tag);
            list.push_back(TagKey(MakeTag(tag.group, tag.element)));
        }
    } else if (element->vr == MakeVr('P', 'N')) {
        char** const names = dataSet->GetStrings(element, 0, all);
        for (uint32_t i = 0; names != nullptr && i < all; ++i)
            list.push_back(PersonName(TextInUtf8(dataSet, names[i])));
    } else if (char** const texts = dataSet->GetStrings(element, 0, all); texts != nullptr) {
        for (uint32_t i = 0; i < all; ++i) list.push_back(TextOrNull(TextInUtf8(dataSet, texts[i])));
    } else if (element->vr == MakeVr('U', 'S')) {
        const uint16_t* const words = dataSet->GetWords(element, 0, all);
        for (uint32_t i = 0; words != nullptr && i < all; ++i) list.push_back(words[i]);
    } else if (element->vr == MakeVr('U', 'L')) {
        const int32_t* const longs = dataSet->GetLongs(element, 0, all);
        for (uint32_t i = 0; longs != nullptr && i < all; ++i)
            list.push_back(static_cast<uint32_t>(longs[i]));
    } else {
        const bool isReal = element->vr == MakeVr('D', 'S') || element->vr == MakeVr('F', 'D') ||
                            element->vr == MakeVr('F', 'L');
        for (uint32_t i = 0; i < all; ++i) {
            int32_t integer = 0;
            int64_t large = 0;
            double real = 0;
            if (dataSet->GetIntegerString64(element, i, &large))
                list.push_back(large);
            else if (!isReal && dataSet->GetInteger(element, i, &integer))
                list.push_back(integer);
            else if (dataSet->GetReal(element, i, &real) && std::isfinite(real))
                list.push_back(real);
        }
        if (list.size() != all) list.clear();
    }
    // Numbers that JSON has no form for.
    if (list.empty() && all > 0) list.push_back(ValueText(dataSet, element, true));
    dataSet->ReleaseValues(element);
    return list;
}

Json AsJson(DicomDataSet* dataSet, DicomElement* element, const std::string& file);

/// The elements of one level, from `first` on.
Json LevelAsJson(DicomDataSet* dataSet, DicomElement* first, const std::string& file)
{
    Json object = Json::object();
    // Tags are unique in a level; the object's own way of adding searches all that are there.
    Json::object_t::Container& members = object.get_ref<Json::object_t&>();
    for (DicomElement* element = first; element != nullptr; element = element->nextSibling)
        members.emplace_back(TagKey(element->tag), AsJson(dataSet, element, file));
    return object;
}

Json ItemsAsJson(DicomDataSet* dataSet, DicomElement* sequence, const std::string& file)
{
    Json items = Json::array();
    for (DicomElement* item = sequence->firstChild; item != nullptr; item = item->nextSibling)
        items.push_back(LevelAsJson(dataSet, item->firstChild, file));
    return items;
}

/// Levels are limited by the reader (kMaxNesting), so this may call itself.
Json AsJson(DicomDataSet* dataSet, DicomElement* element, const std::string& file)
{
    std::string vr = VrText(*element).substr(0, 2);
    if (vr == "??" || vr == "  ") vr = "UN";
    Json object = {{"vr", vr}};
    const bool binary = IsBinary(*element);
    if (element->length == kUndefinedLength && binary) {
        const DicomElement* const first = element->firstChild;
        const DicomElement* const last = element->lastChild;
        if (first != nullptr && last != nullptr && last->length != kUndefinedLength)
            object["BulkDataURI"] = Place(file, first->valuePosition - 8,
                                          last->valuePosition + last->length - first->valuePosition + 8);
    } else if (element->length == kUndefinedLength) {
        object["Value"] = ItemsAsJson(dataSet, element, file);
    } else if (element->length == 0) {
        return object;
    } else if (!binary) {
        object["Value"] = Values(dataSet, element);
    } else if (element->length > kInlineLimit) {
        object["BulkDataURI"] = Place(file, element->valuePosition, element->length);
    } else {
        std::vector<uint8_t> bytes(element->length);
        bytes.resize(dataSet->ReadValueBytes(element, 0, bytes.data(), bytes.size()));
        object["InlineBinary"] = Base64(bytes);
    }
    return object;
}

std::string Text(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}
}  // namespace

std::string DataSetAsJson(DicomDataSet* dataSet, const std::string& file)
{
    return Text(LevelAsJson(dataSet, dataSet->tree.first, file));
}

std::string ElementsAsJson(DicomDataSet* dataSet, const std::string& file,
                           const std::vector<DicomElement*>& elements)
{
    Json list = Json::array();
    ItemNumbers numbers;
    for (DicomElement* element : elements) {
        Json object = {{"path", PathWords(*element, &numbers) + TagWords(element->tag)},
                       {"name", ElementName(*element)}};
        object.update(AsJson(dataSet, element, file));
        list.push_back(std::move(object));
    }
    return Text(list);
}
}  // namespace talv
