#include "engine/internal/Bookmarks.h"

#include "engine/BestEffort.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/QPDFNameTreeObjectHelper.hh>

#include <algorithm>
#include <set>

namespace bookmarks {

using Handle = QPDFObjectHandle;

Destinations::Destinations(QPDF &q)
    : m_pages(qpdfsupport::pageIndexMap(q))
{
    bestEffort([&] {
        auto root = q.getRoot();
        auto names = root.getKey("/Names");
        if (names.isDictionary() && names.getKey("/Dests").isDictionary()) {
            QPDFNameTreeObjectHelper tree(names.getKey("/Dests"), q);
            for (auto it = tree.begin(); it != tree.end(); ++it)
                m_named.emplace(it->first, it->second);
        }
        auto dests = root.getKey("/Dests");
        if (dests.isDictionary())
            for (auto &key : dests.getKeys())
                m_named.emplace(key.substr(1), dests.getKey(key));
    });
}

std::optional<Target> Destinations::resolve(Handle dest) const
{
    try {
        if (dest.isName() || dest.isString()) {
            auto found = m_named.end();
            if (dest.isName())
                found = m_named.find(dest.getName().substr(1));
            else if ((found = m_named.find(dest.getUTF8Value())) == m_named.end())
                found = m_named.find(dest.getStringValue());
            if (found == m_named.end())
                return std::nullopt;
            dest = found->second;
        }
        if (dest.isDictionary() && dest.hasKey("/D"))
            dest = dest.getKey("/D");
        if (!dest.isArray() || dest.getArrayNItems() < 1)
            return std::nullopt;
        Target target;
        auto page = dest.getArrayItem(0);
        if (page.isIndirect()) {
            const auto found = m_pages.find(page.getObjGen());
            if (found != m_pages.end())
                target.page = found->second;
        } else if (page.isInteger()) {
            // Not allowed inside a file, but some writers do it. Checked
            // before it is cut to an int, which could wrap it into range.
            const long long number = page.getIntValue();
            if (number >= 0 && number < qint64(m_pages.size()))
                target.page = int(number);
        }
        if (target.page < 0 || target.page >= int(m_pages.size()))
            return std::nullopt;
        for (int i = 1; i < dest.getArrayNItems(); ++i)
            target.view.push_back(dest.getArrayItem(i));
        if (target.view.size() == 4 && target.view[0].isNameAndEquals("/XYZ"))
            target.view[3] = Handle::newNull();
        if (target.view.empty() || !target.view[0].isName())
            target.view = {Handle::newName("/Fit")};
        return target;
    } catch (...) {
        return std::nullopt;
    }
}

namespace {
Handle ownDestination(Handle item)
{
    Handle dest = item.getKey("/Dest");
    if (!dest.isNull())
        return dest;
    Handle action = item.getKey("/A");
    if (action.isDictionary() && action.getKey("/S").isNameAndEquals("/GoTo"))
        return action.getKey("/D");
    return Handle::newNull();
}
} // namespace

std::optional<Target> Destinations::of(Handle itemOrLink) const
{
    try {
        return resolve(ownDestination(itemOrLink));
    } catch (...) {
        return std::nullopt;
    }
}

bool Destinations::hasDestination(Handle itemOrLink)
{
    try {
        return !ownDestination(itemOrLink).isNull();
    } catch (...) {
        return false;
    }
}

std::vector<Mark> read(QPDF &source, const Destinations &destinations)
{
    // Walked here rather than with qpdf's outline helper, which follows a
    // /Next chain that loops back until memory runs out.
    std::set<QPDFObjGen> seen;
    int budget = 100000; // a hostile outline can't make us walk forever
    std::function<std::vector<Mark>(Handle, int)> walk = [&](Handle first, int depth) {
        std::vector<Mark> out;
        if (depth > 64)
            return out;
        std::set<QPDFObjGen> chain;
        for (Handle item = first; item.isDictionary() && --budget >= 0;
             item = item.getKey("/Next")) {
            if (item.isIndirect()) {
                if (!chain.insert(item.getObjGen()).second)
                    break; // the chain loops
                if (!seen.insert(item.getObjGen()).second)
                    continue; // already read under another parent
            }
            Mark mark;
            mark.children = walk(item.getKey("/First"), depth + 1);
            mark.target = destinations.of(item);
            auto title = item.getKey("/Title");
            mark.title = title.isString() ? Handle::newString(title.getStringValue())
                                          : Handle::newUnicodeString("");
            auto count = item.getKey("/Count");
            mark.open = count.isInteger() && count.getIntValue() > 0;
            auto color = item.getKey("/C");
            if (color.isArray() && color.getArrayNItems() == 3) {
                mark.color = Handle::newArray();
                for (int i = 0; i < 3; ++i) {
                    auto part = color.getArrayItem(i);
                    mark.color.appendItem(part.isNumber()
                                              ? Handle::newReal(part.getNumericValue(), 3, true)
                                              : Handle::newInteger(0));
                }
            }
            if (item.getKey("/F").isInteger())
                mark.style = Handle::newInteger(item.getKey("/F").getIntValue());
            if (mark.target) {
                mark.lowest = mark.target->page;
                mark.highest = mark.target->page;
            }
            for (const auto &child : mark.children) {
                mark.lowest = std::min(mark.lowest, child.lowest);
                mark.highest = std::max(mark.highest, child.highest);
            }
            out.push_back(std::move(mark));
        }
        return out;
    };
    try {
        auto outlines = source.getRoot().getKey("/Outlines");
        if (!outlines.isDictionary())
            return {};
        if (outlines.isIndirect())
            seen.insert(outlines.getObjGen());
        return walk(outlines.getKey("/First"), 0);
    } catch (...) {
        return {};
    }
}

std::vector<Placed> place(const std::vector<Mark> &marks,
                          const std::function<std::optional<Handle>(const Target &)> &destination,
                          const std::function<bool(int, int)> &reaches)
{
    std::vector<Placed> out;
    for (const auto &mark : marks) {
        if (reaches && (mark.lowest > mark.highest || !reaches(mark.lowest, mark.highest)))
            continue;
        Placed placed;
        placed.children = place(mark.children, destination, reaches);
        if (mark.target)
            if (auto dest = destination(*mark.target))
                placed.dest = *dest;
        if (placed.dest.isNull() && placed.children.empty())
            continue;
        placed.title = mark.title;
        placed.open = mark.open;
        placed.color = mark.color;
        placed.style = mark.style;
        out.push_back(std::move(placed));
    }
    return out;
}

namespace {
// Writes the items below `parent`; returns how many are visible.
int writeLevel(QPDF &q, Handle parent, const std::vector<Placed> &marks)
{
    Handle previous;
    int visible = 0;
    for (size_t i = 0; i < marks.size(); ++i) {
        Placed mark = marks[i]; // qpdf's handles have no const queries
        auto item = q.makeIndirectObject(Handle::newDictionary());
        // Marks are read once and may be written into many documents (a
        // split): each gets objects of its own, as one document's objects
        // are taken apart when it is destroyed.
        item.replaceKey("/Title", Handle::newString(mark.title.getStringValue()));
        item.replaceKey("/Parent", parent);
        if (!mark.dest.isNull())
            item.replaceKey("/Dest", mark.dest);
        if (mark.color.isArray())
            item.replaceKey("/C", Handle::parse(mark.color.unparse()));
        if (mark.style.isInteger())
            item.replaceKey("/F", Handle::newInteger(mark.style.getIntValue()));
        if (i == 0) {
            parent.replaceKey("/First", item);
        } else {
            previous.replaceKey("/Next", item);
            item.replaceKey("/Prev", previous);
        }
        if (!mark.children.empty()) {
            const int below = writeLevel(q, item, mark.children);
            item.replaceKey("/Count", Handle::newInteger(mark.open ? below : -below));
            if (mark.open)
                visible += below;
        }
        ++visible;
        previous = item;
    }
    parent.replaceKey("/Last", previous);
    return visible;
}
} // namespace

void write(QPDF &target, const std::vector<Placed> &marks)
{
    if (marks.empty()) {
        target.getRoot().removeKey("/Outlines");
        return;
    }
    auto root = target.makeIndirectObject(Handle::parse("<< /Type /Outlines >>"));
    root.replaceKey("/Count", Handle::newInteger(writeLevel(target, root, marks)));
    target.getRoot().replaceKey("/Outlines", root);
}

Handle destination(Handle page, const std::vector<Handle> &view)
{
    auto array = Handle::newArray();
    array.appendItem(page);
    for (const auto &item : view)
        array.appendItem(item);
    return array;
}

} // namespace bookmarks
