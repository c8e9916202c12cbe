#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/TextReader.h"
#include "platform/linux/atspi/TextRules.h"

#include <functional>

namespace nomara::atspi {

/// Asks for the texts of single nodes, into a list of nodes that keeps its length meanwhile.
class NodeTexts {
public:
    NodeTexts(CallPipeline& calls, std::vector<TextNode>& nodes, const TextRequest& request)
        : m_calls(calls), m_nodes(nodes), m_request(request) {}

    /// The node counts as unread until all of its answers are in.
    void read(std::size_t index, const ObjectRef& object, TextRules::Reading reading);
    /// Finds out whether a document is a page. Until it is known to be one it counts as none.
    void tellPage(std::size_t index, const ObjectRef& object);
    bool isInPage(std::size_t index) const;
    /// Of a picture in a page its place, of the first ones.
    void placePicture(std::size_t index, const ObjectRef& object);
    /// Once all texts are in: where those of pages stand. The program bears some milliseconds at most.
    void placeTexts(const std::function<ObjectRef(std::size_t)>& objectOf);

private:
    void readText(std::size_t index, const ObjectRef& object);
    void readTextOf(FieldText fieldText, std::size_t index, const ObjectRef& object);
    void readEditable(FieldText fieldText, std::size_t index, const ObjectRef& object, bool takesText);
    void readKnownText(std::size_t index, const ObjectRef& object);
    void readByLength(std::size_t index, const ObjectRef& object);
    void readVisible(std::size_t index, const ObjectRef& object, std::int32_t length);
    void readLines(std::size_t index, const ObjectRef& object, std::int32_t first, std::int32_t last,
                   std::int32_t length);
    std::optional<Rect> visibleRect(std::size_t index) const;
    bool saysSomething(std::size_t index) const;
    std::vector<std::size_t> textPlaces() const;
    void finished(std::size_t index) { m_nodes[index].unread = false; }

    CallPipeline& m_calls;
    std::vector<TextNode>& m_nodes;
    const TextRequest& m_request;
    int m_placedPictures = 0;
};

} // namespace nomara::atspi
