// Configurations made at random, of everything that a save is to keep.
#ifndef ZEF_PROOF_SAMPLE_H
#define ZEF_PROOF_SAMPLE_H

#include <map>
#include <random>
#include <string>
#include <vector>

#include <cstddef>

// An element as it is to be set. What a save does not keep is not among the samples:
//
//   left out                                  because
//   ----------------------------------------  -----------------------------------------------------------------------
//   control characters but tab, LF, CR        XML has none: the saved file is refused when it is loaded
//   bytes that are no UTF-8                   a file ends there for Mini-XML: it is refused when it is loaded
//   surrogates, U+FFFE, U+FFFF                XML has none: they come back, but other XML tools refuse the file
//   U+FEFF                                    Mini-XML takes it for a byte order mark and skips it
//   zero bytes                                a value ends there: it is handed on as a C string
//   a text beside elements in one element     the new layout puts white space between them
//   names that are no names of XML            the saved file says something else
//   the same attribute twice                  the later value takes the place of the earlier one
//   more than 32767 bytes of rendered text    it is cut there
//
// Two losses are part of what is tried: spaces, tabs and line feeds in texts go, and a text with nothing else comes
// back as mere white space, the layout between its tags. In attributes they stay.
struct Sample {
    enum class Kind { Nothing, String, Bool, Integer };

    std::string name;
    std::map<std::string, std::string> attributes;
    Kind kind = Kind::Nothing;
    std::string text;
    bool boolean = false;
    int integer = 0;
    std::vector<Sample> children;  // only without a value

    // At least as many bytes as it takes when it is rendered.
    size_t RenderedBytes() const;
};

class SampleMaker {
public:
    explicit SampleMaker(std::mt19937_64 &source) : random(source) {}

    // The top element of a document that a save does not cut.
    Sample Make();

private:
    size_t Any(size_t count) { return static_cast<size_t>(random() % count); }
    Sample Element(int depth);
    void AddChildren(Sample &parent, int depth);
    void SetValue(Sample &sample);
    std::string Name();
    std::string Text();
    std::string LongText();
    int Integer();

    std::mt19937_64 &random;
};

#endif
