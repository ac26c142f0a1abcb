#include "source.h"

#include "korvo_bt_conventions.h"

#include <charconv>
#include <sstream>

namespace fetch {
namespace {

template <typename Number> void read_number(const std::string &text, Number &number) {
    std::from_chars(text.data(), text.data() + text.size(), number);
}

std::string interim_name(int32_t task) {
    return ".tqfetchd-" + std::to_string(task) + ".new";
}

} // namespace

std::string partial_name(const std::string &name) {
    return name + TQ_PARTIAL_SUFFIX;
}

std::string info_name(const std::string &name) {
    return name + TQ_PARTIAL_INFO_SUFFIX;
}

Source load_source(const Descriptor &folder, const std::string &name) {
    std::istringstream lines(read_file(folder, info_name(name)));
    Source source;
    bool whole = false;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t space = std::min(line.find(' '), line.size());
        const std::string key = line.substr(0, space);
        const std::string value = space < line.size() ? line.substr(space + 1) : "";
        if (key == "task") {
            read_number(value, source.task);
        } else if (key == "address") {
            source.address = value;
        } else if (key == "etag") {
            source.etag = value;
        } else if (key == "modified") {
            source.modified = value;
        } else if (key == "size") {
            read_number(value, source.size);
        } else if (key == "folder") {
            source.folder = value;
        } else if (key == "name") {
            source.name = value;
        } else if (key == "file") {
            read_number(value, source.file_number);
        }
        whole = key == "end";
    }
    return whole ? source : Source{};
}

bool save_source(const Descriptor &folder, const std::string &name, const Source &source) {
    std::ostringstream text;
    text << "task " << source.task << "\naddress " << source.address << "\netag " << source.etag << "\nmodified "
         << source.modified << "\nsize " << source.size << "\nfolder " << source.folder << "\nname " << source.name
         << "\nfile " << source.file_number << "\nend\n";
    return replace_file(folder, info_name(name), text.str(), interim_name(source.task));
}

bool is_placed(const Source &source) {
    if (source.folder.empty() || source.file_number == 0) {
        return false;
    }
    const Descriptor folder = open_folder(source.folder);
    return folder.valid() && file_number(folder, source.name) == source.file_number;
}

std::string copy_name(int32_t task) {
    return ".tqfetchd-" + std::to_string(task) + TQ_PARTIAL_SUFFIX;
}

void forget(const Descriptor &folder, const std::string &name, int32_t task) {
    const Source source = load_source(folder, name);
    if (source.task != task) {
        return;
    }
    if (const Descriptor target = source.folder.empty() ? Descriptor() : open_folder(source.folder); target.valid()) {
        remove_file(target, copy_name(task));
    }
    remove_file(folder, partial_name(name));
    remove_file(folder, interim_name(task));
    remove_file(folder, info_name(name)); // last: it is how the others are found
}

void discard(const Descriptor &folder, const std::string &name, int32_t task) {
    if (const Source source = load_source(folder, name); source.task == task && is_placed(source)) {
        remove_file(open_folder(source.folder), source.name);
    }
    forget(folder, name, task);
}

} // namespace fetch
