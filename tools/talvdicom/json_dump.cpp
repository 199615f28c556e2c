#include "tools/talvdicom/json_dump.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

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

/// Values of one element as its VR has them; null when they cannot be read.
Json Values(DicomDataSet* dataSet, DicomElement* element)
{
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
            list.push_back({{"Alphabetic", TextInUtf8(dataSet, names[i])}});
    } else if (char** const texts = dataSet->GetStrings(element, 0, all); texts != nullptr) {
        for (uint32_t i = 0; i < all; ++i) list.push_back(TextInUtf8(dataSet, texts[i]));
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
    // Dates, times and ages in the form of the file.
    if (list.empty() && all > 0) list.push_back(ValueText(dataSet, element, true));
    dataSet->ReleaseValues(element);
    return list;
}

Json AsJson(DicomDataSet* dataSet, DicomElement* element, const std::string& file);

Json ItemsAsJson(DicomDataSet* dataSet, DicomElement* sequence, const std::string& file)
{
    Json items = Json::array();
    for (DicomElement* item = sequence->firstChild; item != nullptr; item = item->nextSibling) {
        Json object = Json::object();
        for (DicomElement* element = item->firstChild; element != nullptr; element = element->nextSibling)
            object[TagKey(element->tag)] = AsJson(dataSet, element, file);
        items.push_back(std::move(object));
    }
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
    Json object = Json::object();
    for (DicomElement* element = dataSet->tree.first; element != nullptr; element = element->nextSibling)
        object[TagKey(element->tag)] = AsJson(dataSet, element, file);
    return Text(object);
}

std::string ElementsAsJson(DicomDataSet* dataSet, const std::string& file,
                           const std::vector<DicomElement*>& elements)
{
    Json list = Json::array();
    for (DicomElement* element : elements) {
        Json object = {{"path", PathWords(*element) + TagWords(element->tag)},
                       {"name", ElementName(*element)}};
        object.update(AsJson(dataSet, element, file));
        list.push_back(std::move(object));
    }
    return Text(list);
}
}  // namespace talv
