; Orvane's installer for 64-bit Windows. make-installer calls makensis with
;   VERSION   1.2.3
;   FOLDER    the packed programs
;   ICON
;   FILES     a script that removes each packed file and folder from $INSTDIR, and nothing else
;   SIZE      of what is installed, in KiB
;   SETUP     the installer to make
;
; setup.exe /S             installs without a question, for everybody if the user is an administrator
; setup.exe /CurrentUser   for this user only     /AllUsers   for everybody
; setup.exe /D=FOLDER      into this folder; as the last argument
; An older Orvane is removed first. Ends with 0 once it is installed.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
Name Orvane
OutFile "${SETUP}"
BrandingText "Orvane ${VERSION}"
AllowSkipFiles off

; What is chosen by "Browse" gets the last part. No path without a drive is one that /D= can ask for.
!define NO_FOLDER "none\Orvane"
InstallDir "${NO_FOLDER}"

!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\Orvane"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR Orvane
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME InstallLocation
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINSTALL}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME InstallLocation
!define MULTIUSER_USE_PROGRAMFILES64
!include MultiUser.nsh

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_WELCOMEPAGE_TEXT "Installing Orvane on the drive that has lost files can overwrite them, so \
choose another drive, or the zip on a memory stick, if they were on this one.$\r$\n$\r$\n$_CLICK"
!include MUI2.nsh
!insertmacro MUI_PAGE_WELCOME
!define MULTIUSER_PAGE_CUSTOMFUNCTION_LEAVE takeAskedFolder
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName Orvane
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "Orvane's installer"
VIAddVersionKey CompanyName "Kestrine Research"
VIAddVersionKey LegalCopyright "(c) 2026 The Orvane developers"

Var Asked ; the folder that /D= asks for, or empty

; Choosing for whom to install chooses the folder as well.
Function takeAskedFolder
  ${If} $Asked != ""
    StrCpy $INSTDIR $Asked
  ${EndIf}
FunctionEnd

; Where there is nobody to ask, a message would wait for ever.
!macro REFUSE_SILENTLY
  ${If} ${Silent}
    UserInfo::GetAccountType
    Pop $0
    ${GetParameters} $1
    ClearErrors
    ${GetOptions} $1 /AllUsers $2
    ${IfNot} ${Errors}
    ${AndIf} $0 != Admin
      SetErrorLevel 740 ; ERROR_ELEVATION_REQUIRED
      Quit
    ${EndIf}
  ${EndIf}
!macroend

Function .onInit
  StrCpy $Asked $INSTDIR
  ${If} $Asked == "${NO_FOLDER}"
    StrCpy $Asked ""
  ${EndIf}
  !insertmacro REFUSE_SILENTLY
  !insertmacro MULTIUSER_INIT
  Call takeAskedFolder
FunctionEnd

; Removes what is beside this program, whatever else is registered.
Function un.onInit
  Push $INSTDIR
  !insertmacro REFUSE_SILENTLY
  !insertmacro MULTIUSER_UNINIT
  Pop $INSTDIR
  ReadRegStr $0 HKCU "${UNINSTALL}" InstallLocation
  ReadRegStr $1 HKLM "${UNINSTALL}" InstallLocation
  ${If} $0 == $INSTDIR
    Call un.MultiUser.InstallMode.CurrentUser
  ${ElseIf} $1 == $INSTDIR
    Call un.MultiUser.InstallMode.AllUsers
  ${EndIf}
FunctionEnd

; Together with the folder's uninstaller, which cannot remove the file that it runs from.
Function removeOlder
  ReadRegStr $0 SHCTX "${UNINSTALL}" InstallLocation
  ${If} ${FileExists} "$0\uninstall.exe"
    DetailPrint "Removing the older Orvane in $0"
    ${Do}
      ExecWait '"$0\uninstall.exe" /S /$MultiUser.InstallMode _?=$0' $1
      ${If} $1 == 0
        ${Break}
      ${EndIf}
      MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "The older Orvane in $0 cannot be removed. Close it, \
if it is open." /SD IDCANCEL IDRETRY again
      Abort "The older Orvane stays."
      again:
    ${Loop}
    Delete "$0\uninstall.exe"
    RMDir "$0"
  ${EndIf}
FunctionEnd

Section
  Call removeOlder
  SetOutPath "$INSTDIR"
  ; First what removes it: the disk may fill up.
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${UNINSTALL}" DisplayName Orvane
  WriteRegStr SHCTX "${UNINSTALL}" DisplayVersion "${VERSION}"
  WriteRegStr SHCTX "${UNINSTALL}" DisplayIcon "$INSTDIR\orvane.exe"
  WriteRegStr SHCTX "${UNINSTALL}" Publisher "Kestrine Research"
  WriteRegStr SHCTX "${UNINSTALL}" URLInfoAbout "https://kestrineresearch.com/orvane/"
  WriteRegStr SHCTX "${UNINSTALL}" InstallLocation "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL}" UninstallString '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${UNINSTALL}" QuietUninstallString '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${UNINSTALL}" EstimatedSize ${SIZE}
  WriteRegDWORD SHCTX "${UNINSTALL}" NoModify 1
  WriteRegDWORD SHCTX "${UNINSTALL}" NoRepair 1

  File /r "${FOLDER}/*"

  CreateDirectory "$SMPROGRAMS\Orvane"
  CreateShortcut "$SMPROGRAMS\Orvane\Orvane.lnk" "$INSTDIR\orvane.exe"
  CreateShortcut "$SMPROGRAMS\Orvane\Orvane on sample drives.lnk" "$INSTDIR\orvane-open.exe"
SectionEnd

; Before anything is gone: a program that runs cannot be removed.
!macro EXPECT_CLOSED PROGRAM
  ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
    ClearErrors
    FileOpen $0 "$INSTDIR\${PROGRAM}" a
    ${If} ${Errors}
      MessageBox MB_OK|MB_ICONEXCLAMATION "${PROGRAM} is open. Close it first." /SD IDOK
      Abort "${PROGRAM} is open."
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend

; Where the user has put files of their own, these stay, and the folder with them.
Section Uninstall
  !insertmacro EXPECT_CLOSED orvane.exe
  !insertmacro EXPECT_CLOSED orvane-open.exe
  !insertmacro EXPECT_CLOSED orvane-cli.exe
  !insertmacro EXPECT_CLOSED orvane-decoder.exe
  Delete "$INSTDIR\uninstall.exe"
  SetOutPath "$TEMP" ; A folder that a program stands in cannot be removed.
  !include "${FILES}"
  RMDir "$INSTDIR"

  ; A copy in another folder has no part in these.
  ReadRegStr $0 SHCTX "${UNINSTALL}" InstallLocation
  ${If} $0 == $INSTDIR
    Delete "$SMPROGRAMS\Orvane\Orvane.lnk"
    Delete "$SMPROGRAMS\Orvane\Orvane on sample drives.lnk"
    RMDir "$SMPROGRAMS\Orvane"
    DeleteRegKey SHCTX "${UNINSTALL}"
  ${EndIf}
SectionEnd
