#pragma once

#include <cstddef>
#include <string>

/// A text in a file of its own, for a person to edit: in a private folder, so that nobody else reads or changes it.
/// Stays behind unless it is removed: it may be all that is left of somebody's work. A signal that ends the process
/// before tells on stderr where. One at a time.
class EditedCopy
{
public:
    /// Throws CommandError if it can't be made.
    explicit EditedCopy(const std::string& text);
    EditedCopy(const EditedCopy&) = delete;
    EditedCopy& operator=(const EditedCopy&) = delete;
    ~EditedCopy();

    /// Waits until the person's editor ends: $VISUAL, $EDITOR or sensible-editor, at the line if it is one that can be
    /// told and the line is not 0. Throws CommandError if it does not end with status 0. The terminal's signals are the
    /// editor's meanwhile.
    void openInEditor(size_t line) const;

    void remove() const;

    const std::string folder;
    const std::string path;

private:
    const std::string notice; ///< What a signal tells.
};
