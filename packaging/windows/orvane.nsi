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
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
Name Orvane
OutFile "${SETUP}"
BrandingText "Orvane ${VERSION}"
AllowSkipFiles off

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

Function .onInit
  !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd

Section
  SetOutPath "$INSTDIR"
  File /r "${FOLDER}/*"
  WriteUninstaller "$INSTDIR\uninstall.exe"

  CreateDirectory "$SMPROGRAMS\Orvane"
  CreateShortcut "$SMPROGRAMS\Orvane\Orvane.lnk" "$INSTDIR\orvane.exe"
  CreateShortcut "$SMPROGRAMS\Orvane\Orvane on sample drives.lnk" "$INSTDIR\orvane-open.exe"

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
SectionEnd

; Where the user has put files of their own, these stay, and the folder with them.
Section Uninstall
  Delete "$SMPROGRAMS\Orvane\Orvane.lnk"
  Delete "$SMPROGRAMS\Orvane\Orvane on sample drives.lnk"
  RMDir "$SMPROGRAMS\Orvane"
  Delete "$INSTDIR\uninstall.exe"
  SetOutPath "$TEMP" ; A folder that a program stands in cannot be removed.
  !include "${FILES}"
  RMDir "$INSTDIR"
  DeleteRegKey SHCTX "${UNINSTALL}"
SectionEnd
