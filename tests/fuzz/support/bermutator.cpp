#include "bermutator.h"

#include "random.h"

#include "zanroot.h"

#include <array>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace {

using namespace world;

/// An element: of other elements, or of bytes.
struct Element {
    unsigned char tag = 0;
    std::string bytes;
    std::vector<Element> elements;

    bool isConstructed() const { return (tag & 0x20U) != 0; }
};

constexpr unsigned deepest = 16;

unsigned byteAt(const std::string& text, std::size_t at)
{
    return static_cast<unsigned char>(text[at]);
}

/// The elements of a text; nothing when it is otherwise.
std::optional<std::vector<Element>> decoded(const std::string& text, unsigned depth = 0)
{
    std::vector<Element> elements;
    for (std::size_t at = 0; at < text.size();) {
        Element element;
        element.tag = static_cast<unsigned char>(text[at]);
        if (++at == text.size()) {
            return std::nullopt;
        }
        std::size_t length = byteAt(text, at++);
        if (length > 0x80) {
            std::size_t more = length - 0x80;
            for (length = 0; more > 0 && at < text.size() && length < text.size(); --more) {
                length = (length << 8U) | byteAt(text, at++);
            }
        }
        if (length > text.size() - at) {
            return std::nullopt;
        }
        element.bytes = text.substr(at, length);
        at += length;
        if (element.isConstructed()) {
            auto inner = depth < deepest ? decoded(element.bytes, depth + 1) : std::nullopt;
            if (!inner) {
                return std::nullopt;
            }
            element.elements = std::move(*inner);
        }
        elements.push_back(std::move(element));
    }
    return elements;
}

std::string encoded(const Element& element)
{
    std::string content = element.bytes;
    if (element.isConstructed()) {
        content.clear();
        for (const Element& inner : element.elements) {
            content += encoded(inner);
        }
    }
    std::string text(1, static_cast<char>(element.tag));
    if (content.size() < 0x80) {
        text += static_cast<char>(content.size());
    } else {
        text += {'\x82', static_cast<char>(content.size() >> 8U), static_cast<char>(content.size())};
    }
    return text + content;
}

void collect(Element& element, std::vector<Element*>& places)
{
    places.push_back(&element);
    for (Element& inner : element.elements) {
        collect(inner, places);
    }
}

std::string encodedArc(std::size_t arc)
{
    std::string text(1, static_cast<char>(arc & 0x7FU));
    for (arc >>= 7U; arc > 0; arc >>= 7U) {
        text.insert(text.begin(), static_cast<char>(0x80U | (arc & 0x7FU)));
    }
    return text;
}

/// The OID of something below the module's root that is there, or nearly.
std::string anObject(Random& random)
{
    std::string text(1, '\x2b');
    for (std::size_t i = 2; i < zansnmp::moduleRoot.size(); ++i) {
        text += encodedArc(zansnmp::moduleRoot[i]);
    }
    text += encodedArc(1 + below(random, 8) / 7);
    text += encodedArc(below(random, 23));
    for (std::size_t arcs = below(random, 6); arcs > 0; --arcs) {
        static constexpr std::array<std::size_t, 8> some{0, 1, 1, 2, 3, 4, 127, 4294967295};
        text += encodedArc(oneOf(random, some));
    }
    return text;
}

/// The tags of versions' numbers, texts, OIDs, PDUs and exceptions.
constexpr std::array<unsigned char, 22> tags{0x02, 0x04, 0x05, 0x06, 0x30, 0x40, 0x41, 0x42,
                                             0x43, 0x44, 0x46, 0x80, 0x81, 0x82, 0xA0, 0xA1,
                                             0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA8};

void change(Element& root, Random& random)
{
    std::vector<Element*> places;
    collect(root, places);
    Element& place = *oneOf(random, places);
    switch (below(random, 8)) {
    case 0:
        place = Element(*oneOf(random, places));
        break;
    case 1:
        if (!place.elements.empty()) {
            place.elements.pop_back();
        }
        break;
    case 2: // an element twice
        if (!place.elements.empty()) {
            place.elements.push_back(Element(oneOf(random, place.elements)));
        }
        break;
    case 3:
        place.tag = oneOf(random, tags);
        break;
    case 4:
    case 5:
        for (Element* other : places) {
            if (other->tag == 0x06 && below(random, 2) == 0) {
                other->bytes = anObject(random);
            }
        }
        break;
    case 6: // a number: of repetitions, of errors, or the version
        for (Element* other : places) {
            if (other->tag == 0x02 && below(random, 3) == 0) {
                static const std::array<std::string, 7> numbers{
                    std::string(1, '\0'),        "\x01", "\x03", "\x32", "\xff", "\x7f\xff\xff\xff",
                    std::string("\x80\0\0\0", 4)};
                other->bytes = oneOf(random, numbers);
            }
        }
        break;
    default:
        if (!place.isConstructed()) {
            place.bytes = mutatedBytes(place.bytes);
        }
    }
}

} // namespace

bool world::isBer(const std::string& bytes)
{
    const auto elements = decoded(bytes);
    return elements && elements->size() == 1;
}

std::size_t world::mutateBer(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Random random(seed);
    const std::string text(reinterpret_cast<const char*>(data), size);
    auto elements = decoded(text);
    if (!elements || elements->empty() || below(random, 8) == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    for (std::size_t changes = 1 + below(random, 3); changes > 0; --changes) {
        change(elements->front(), random);
    }
    const std::string changed = encoded(elements->front());
    if (changed.size() > maxSize || changed.size() > 0xFFFF) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    std::memcpy(data, changed.data(), changed.size());
    return changed.size();
}
