#pragma once

// While it lives, libxml2 reports nothing on this thread's stderr: the callers say what went wrong
// in their own errors. Parser options mute the parser's complaints, but not those of the input
// layer (an encoding that cannot be converted), which go to the thread's error channel.
class VLQuietXmlErrors
{
public:
    VLQuietXmlErrors();
    ~VLQuietXmlErrors();
    VLQuietXmlErrors(const VLQuietXmlErrors &) = delete;
    VLQuietXmlErrors &operator=(const VLQuietXmlErrors &) = delete;

private:
    // libxml2's handler and context as they were, kept opaque so that this header needs no libxml2.
    void (*m_previousHandler)() = nullptr;
    void *m_previousContext = nullptr;
};
