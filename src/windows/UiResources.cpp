// The widget library's anchor translation unit: windows, dialogs and panels add their sources beside it.
namespace TackpadUi {
int libraryRevision()
{
    return 1;
}
} // namespace TackpadUi
