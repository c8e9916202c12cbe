"""Fields of wxWidgets: the first is an ordinary one, the second hides what is typed, the third was filled before."""

import wx

application = wx.App()
frame = wx.Frame(None, title="Fields of wx", size=(500, 300))
panel = wx.Panel(frame)
sizer = wx.BoxSizer(wx.VERTICAL)
for style, text in ((0, ""), (wx.TE_PASSWORD, ""), (wx.TE_PASSWORD, "filledhidden")):
    sizer.Add(wx.TextCtrl(panel, value=text, style=style), flag=wx.EXPAND)
panel.SetSizer(sizer)
frame.Show()
application.MainLoop()
