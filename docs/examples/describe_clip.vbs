' Loads a DICOM file into the reader and tells what it learned:  cscript //nologo describe_clip.vbs FILE
' Of two installed bitnesses the script host's own is used: SysWOW64\cscript.exe for the 32-bit one.
Option Explicit
Dim reader

' The reader has no name that scripts could use, so it is made by its class identifier.
Set reader = GetObject("new:{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}")
reader.InputFileName = WScript.Arguments(0)
If reader.InputFileName = "" Then
    WScript.Echo "refused: " & WScript.Arguments(0)
    WScript.Quit 1
End If
WScript.Echo reader.InputFileName
WScript.Echo "MPEG-2 stream: " & CBool(reader.IsMPEG2Stream)
WScript.Echo "user frame time: " & reader.FrameTime & " ms, used: " & CBool(reader.FrameControl)
